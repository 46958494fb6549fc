#include <gtest/gtest.h>

#include "support/TestEnv.h"
#include "util/VbFormat.h"

using namespace ordolo::util;
using ordolo::test::ScopedEnv;

namespace {

const QLocale kDe(QLocale::German, QLocale::Germany);
const QLocale kEn(QLocale::English, QLocale::UnitedStates);
const QLocale kFr(QLocale::French, QLocale::France);
// Saturday, 21 November 2026, 15:04:09
const QDateTime kSat(QDate(2026, 11, 21), QTime(15, 4, 9));

TEST(Format, NamedDateFormatsFollowTheLocale) {
  EXPECT_EQ(Format(kSat, "Short Date", kDe), "21.11.2026");
  EXPECT_EQ(Format(kSat, "Short Date", kEn), "11/21/2026");
  EXPECT_EQ(Format(kSat, "short date", kFr), "21/11/2026");
  EXPECT_EQ(Format(kSat, "Short Time", kDe), "15:04");
  EXPECT_EQ(Format(kSat, "Short Time", kEn), "3:04 PM");
  EXPECT_EQ(Format(kSat, "General Date", kDe), "21.11.2026 15:04:09");
  EXPECT_EQ(Format(kSat, "General Date", kEn), "11/21/2026 3:04:09 PM");
  // A date without time of day is written as the date alone.
  EXPECT_EQ(Format(QDateTime(QDate(2026, 1, 2), QTime(0, 0)), "General Date", kDe), "02.01.2026");
  EXPECT_EQ(Format(kSat, "ddddd", kEn), "11/21/2026");
  EXPECT_EQ(Format(kSat, "Long Date", kDe), "Samstag, 21. November 2026");
}

TEST(Format, DayAndMonthNamesFollowTheLocale) {
  EXPECT_EQ(Format(kSat, "dddd", kDe), "Samstag");
  EXPECT_EQ(Format(kSat, "dddd", kEn), "Saturday");
  EXPECT_EQ(Format(kSat, "dddd", kFr), "samedi");
  EXPECT_EQ(Format(kSat, "ddd", kEn), "Sat");
  EXPECT_EQ(Format(kSat, "dddd, d. MMMM yyyy", kDe), "Samstag, 21. November 2026");
  EXPECT_EQ(Format(kSat, "dddd, d. MMMM yyyy  hh:nn", kEn), "Saturday, 21. November 2026  15:04");
  EXPECT_EQ(Format(QDateTime(QDate(2026, 3, 5), QTime(7, 8)), "d. mmm yy", kEn), "5. Mar 26");
}

TEST(Format, FixedStampsAreLocaleFree) {
  for (const QLocale& loc : {kDe, kEn, kFr}) {
    EXPECT_EQ(Format(kSat, "yyyyMMdd", loc), "20261121");
    EXPECT_EQ(Format(kSat, "yyyyMMddhhnnss", loc), "20261121150409");
    EXPECT_EQ(Format(kSat, "yyyyMMdd-hhnn", loc), "20261121-1504");
    EXPECT_EQ(Format(kSat, "hh:nn", loc), "15:04");
  }
}

TEST(Format, AmPmMakesTheClockTwelveHour) {
  EXPECT_EQ(Format(kSat, "HH:nn:ssAM/PM", kDe), "03:04:09PM");
  EXPECT_EQ(Format(kSat, "H:nnAM/PM", kDe), "3:04PM");
  EXPECT_EQ(Format(kSat, "h:nn am/pm", kDe), "3:04 pm");
  EXPECT_EQ(Format(kSat, "h A/P", kDe), "3 P");
  EXPECT_EQ(Format(QDateTime(QDate(2026, 1, 1), QTime(0, 30)), "h:nnAM/PM", kEn), "12:30AM");
  EXPECT_EQ(Format(QDateTime(QDate(2026, 1, 1), QTime(12, 0)), "hhAM/PM", kEn), "12PM");
}

TEST(Format, MMeansMinutesOnlyNextToHoursOrSeconds) {
  EXPECT_EQ(Format(kSat, "h:mm", kDe), "15:04");
  EXPECT_EQ(Format(kSat, "mm:ss", kDe), "04:09");
  EXPECT_EQ(Format(kSat, "mm/yyyy", kDe), "11/2026");
  EXPECT_EQ(Format(kSat, "m", kDe), "11");
}

TEST(Format, LiteralsCountersAndOddLetters) {
  EXPECT_EQ(Format(kSat, "\"Day \"d", kEn), "Day 21");
  EXPECT_EQ(Format(kSat, "\\dd", kEn), "d21");
  EXPECT_EQ(Format(kSat, "w ww q y yy", kEn), "7 47 4 325 26");
  EXPECT_EQ(Format(kSat, "[x]", kEn), "[x]");
  EXPECT_EQ(Format(QDateTime(), "Short Date", kEn), "");
}

TEST(Format, NamedNumberFormats) {
  EXPECT_EQ(Format(0.256, "Percent", kEn), "25.60%");
  EXPECT_EQ(Format(0.256, "Percent", kDe), "25,60%");
  EXPECT_EQ(Format(1234.5, "Currency", kEn), "$1,234.50");
  EXPECT_EQ(Format(1234.5, "Currency", kDe), QString::fromUtf8("1.234,50\u00a0€"));
  EXPECT_EQ(Format(1234.5, "Standard", kEn), "1,234.50");
  EXPECT_EQ(Format(1234.5, "Fixed", kEn), "1234.50");
  EXPECT_EQ(Format(0.5, "General Number", kDe), "0,5");
  EXPECT_EQ(Format(0.0, "Yes/No", kEn), "No");
}

TEST(Format, NumberPatterns) {
  EXPECT_EQ(Format(1234.5, "#,##0.00", kEn), "1,234.50");
  EXPECT_EQ(Format(0.5, "0%", kEn), "50%");
  EXPECT_EQ(Format(3.14159, "0.0#", kEn), "3.14");
  EXPECT_EQ(Format(2.0, "0.0#", kEn), "2.0");
  EXPECT_EQ(Format(-7.0, "000", kEn), "-007");
  // Anything else treats the number as a serial date.
  EXPECT_EQ(Format(46347.5, "yyyyMMddhhnn", kEn), "202611211200");
}

TEST(Format, UserLocaleComesFromLcAllThenLcTimeThenLang) {
  {
    ScopedEnv all("LC_ALL", "de_DE.UTF-8"), time("LC_TIME", "fr_FR.UTF-8"), lang("LANG", "en_GB.UTF-8");
    EXPECT_EQ(localeFromEnvironment().name(), "de_DE");
  }
  {
    ScopedEnv all("LC_ALL", std::nullopt), time("LC_TIME", "fr_FR.UTF-8"), lang("LANG", "en_GB.UTF-8");
    EXPECT_EQ(localeFromEnvironment().name(), "fr_FR");
  }
  {
    ScopedEnv all("LC_ALL", std::nullopt), time("LC_TIME", std::nullopt), lang("LANG", "de_CH.UTF-8@euro");
    EXPECT_EQ(localeFromEnvironment().name(), "de_CH");
  }
  {
    ScopedEnv all("LC_ALL", std::nullopt), time("LC_TIME", "C"), lang("LANG", "de_DE");
    EXPECT_EQ(localeFromEnvironment().name(), "en_US");
  }
}

}  // namespace
