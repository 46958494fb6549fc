#include <gtest/gtest.h>

#include "util/Funktionen.h"
#include "util/VbFormat.h"

using namespace ordolo::util;

namespace {

class HelpersTest : public ::testing::Test {
 protected:
  void SetUp() override { setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates)); }
  void TearDown() override { setUserLocale(localeFromEnvironment()); }
  static QDateTime at(int h, int m, int s = 0) { return QDateTime(QDate(2026, 11, 21), QTime(h, m, s)); }
};

TEST_F(HelpersTest, TwelveHourTimes) {
  EXPECT_EQ(FormatTime12(at(12, 0)), "12:00 PM");
  EXPECT_EQ(FormatTime12(at(0, 0)), "12:00 AM");
  EXPECT_EQ(FormatTime12(at(9, 5)), " 9:05 AM");
  EXPECT_EQ(FormatTime12(at(14, 30, 15)), " 2:30:15 PM");
  EXPECT_EQ(FormatDateShortTime12(at(15, 4)), "11/21/2026 3:04PM");
  setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  EXPECT_EQ(FormatDateShortTime12(at(0, 7)), "21.11.2026 12:07AM");
}

TEST_F(HelpersTest, GetFieldSplitsOnTheDelimiter) {
  EXPECT_EQ(GetField("a/b", "/", 3), "");
  EXPECT_EQ(GetField("a//c", "/", 2), "");
  EXPECT_EQ(GetField("a//c", "/", 3), "c");
  EXPECT_EQ(GetField("a/b", "/", 0), "");
  EXPECT_EQ(GetField("aXbxc", "x", 2), "b");  // the delimiter compares case-insensitively
  EXPECT_EQ(Field1("/Privat/Persönlich"), "");
  EXPECT_EQ(Field4("Busy/Free/OutOfOffice/Tentative"), "Tentative");
}

TEST_F(HelpersTest, SortKeysSortLikeTheirValues) {
  EXPECT_EQ(DateStamp14(at(9, 0)), "20261121090000");
  EXPECT_EQ(CombineDateTime(at(23, 59, 59), QDateTime(QDate(1999, 1, 1), QTime(7, 45, 30, 999))), at(7, 45, 30));
  EXPECT_EQ(NumericSortKey(5), "00000000000000050");
  EXPECT_EQ(NumericSortKey(DateSerial(at(12, 0))), "00000000000463470.5");
  EXPECT_LT(NumericSortKey(9), NumericSortKey(10));
  EXPECT_LT(NumericSortKey(10), NumericSortKey(10.5));
  setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  EXPECT_EQ(NumericSortKey(1.5), "00000000000000010,5");
}

}  // namespace
