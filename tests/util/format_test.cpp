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

TEST(Format, NamedDateFormatsAndNamesFollowTheLocale) {
  EXPECT_EQ(Format(kSat, "Short Date", kDe), "21.11.2026");  // the year widened to four digits
  EXPECT_EQ(Format(kSat, "Short Date", kEn), "11/21/2026");
  EXPECT_EQ(Format(kSat, "Short Time", kDe), "15:04");
  EXPECT_EQ(Format(kSat, "Short Time", kEn), "3:04 PM");
  EXPECT_EQ(Format(kSat, "General Date", kDe), "21.11.2026 15:04:09");
  EXPECT_EQ(Format(kSat, "General Date", kEn), "11/21/2026 3:04:09 PM");
  EXPECT_EQ(Format(QDateTime(QDate(2026, 1, 2), QTime(0, 0)), "General Date", kDe), "02.01.2026");
  EXPECT_EQ(Format(kSat, "dddd", kDe), "Samstag");
  EXPECT_EQ(Format(kSat, "dddd", kEn), "Saturday");
  EXPECT_EQ(Format(kSat, "dddd", kFr), "samedi");
  EXPECT_EQ(Format(kSat, "dddd, d. MMMM yyyy", kDe), "Samstag, 21. November 2026");
  EXPECT_EQ(Format(kSat, "dddd, d. MMMM yyyy  hh:nn", kEn), "Saturday, 21. November 2026  15:04");
}

TEST(Format, StampsAndTwelveHourClock) {
  for (const QLocale& loc : {kDe, kEn, kFr}) {
    EXPECT_EQ(Format(kSat, "yyyyMMddhhnnss", loc), "20261121150409");
    EXPECT_EQ(Format(kSat, "yyyyMMdd-hhnn", loc), "20261121-1504");
  }
  EXPECT_EQ(Format(kSat, "HH:nn:ssAM/PM", kDe), "03:04:09PM");
  EXPECT_EQ(Format(kSat, "H:nnAM/PM", kDe), "3:04PM");
  EXPECT_EQ(Format(QDateTime(QDate(2026, 1, 1), QTime(0, 30)), "h:nnAM/PM", kEn), "12:30AM");
}

TEST(Format, PatternLettersLiteralsAndMinutes) {
  // m is minutes only right after an hour or before seconds.
  EXPECT_EQ(Format(kSat, "h:mm", kDe), "15:04");
  EXPECT_EQ(Format(kSat, "mm:ss", kDe), "04:09");
  EXPECT_EQ(Format(kSat, "mm/yyyy", kDe), "11/2026");
  EXPECT_EQ(Format(kSat, "\"Day \"d \\d", kEn), "Day 21 d");
  EXPECT_EQ(Format(kSat, "w ww q y yy [x]", kEn), "7 47 4 325 26 [x]");
  EXPECT_EQ(Format(QDateTime(), "Short Date", kEn), "");
}

TEST(Format, NumberFormats) {
  EXPECT_EQ(Format(0.256, "Percent", kEn), "25.60%");
  EXPECT_EQ(Format(0.256, "Percent", kDe), "25,60%");
  EXPECT_EQ(Format(1234.5, "Currency", kEn), "$1,234.50");
  EXPECT_EQ(Format(1234.5, "Currency", kDe), QString::fromUtf8("1.234,50\u00a0€"));
  EXPECT_EQ(Format(3.14159, "0.0#", kEn), "3.14");
  EXPECT_EQ(Format(-7.0, "000", kEn), "-007");
  // Any other pattern reads the number as a serial date.
  EXPECT_EQ(Format(46347.5, "yyyyMMddhhnn", kEn), "202611211200");
}

TEST(Format, UserLocaleComesFromLcAllThenLcTimeThenLang) {
  ScopedEnv all("LC_ALL", std::nullopt), time("LC_TIME", "fr_FR.UTF-8"), lang("LANG", "de_CH.UTF-8@euro");
  EXPECT_EQ(localeFromEnvironment().name(), "fr_FR");
  ScopedEnv noTime("LC_TIME", std::nullopt);
  EXPECT_EQ(localeFromEnvironment().name(), "de_CH");
  ScopedEnv c("LC_ALL", "C");
  EXPECT_EQ(localeFromEnvironment().name(), "en_US");
}

}  // namespace
