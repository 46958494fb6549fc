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

TEST_F(HelpersTest, FormatTime12) {
  EXPECT_EQ(FormatTime12(at(12, 0)), "12:00 PM");
  EXPECT_EQ(FormatTime12(at(0, 0)), "12:00 AM");
  EXPECT_EQ(FormatTime12(at(9, 5)), " 9:05 AM");
  EXPECT_EQ(FormatTime12(at(14, 30, 15)), " 2:30:15 PM");
  EXPECT_EQ(FormatTime12(at(23, 0, 59)), "11:00:59 PM");
  EXPECT_EQ(AmPmTime(at(10, 10)), "10:10 AM");
}

TEST_F(HelpersTest, FormatDateShortTime12UsesTheLocaleDate) {
  EXPECT_EQ(FormatDateShortTime12(at(15, 4)), "11/21/2026 3:04PM");
  setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  EXPECT_EQ(FormatDateShortTime12(at(0, 7)), "21.11.2026 12:07AM");
}

TEST_F(HelpersTest, GetFieldSplitsOnTheDelimiter) {
  EXPECT_EQ(GetField("a/b", "/", 3), "");
  EXPECT_EQ(GetField("a//c", "/", 2), "");
  EXPECT_EQ(GetField("a//c", "/", 3), "c");
  EXPECT_EQ(GetField("whole", "/", 1), "whole");
  EXPECT_EQ(GetField("a/b", "/", 0), "");
  EXPECT_EQ(GetField("a/b", "/", -1), "");
  EXPECT_EQ(GetField("aXbxc", "x", 2), "b");  // the delimiter compares case-insensitively
  EXPECT_EQ(GetField("a::b::c", "::", 3), "c");
  EXPECT_EQ(GetField("a/b", "", 1), "");
  EXPECT_EQ(Field1("/Privat/Persönlich"), "");
  EXPECT_EQ(Field4("Busy/Free/OutOfOffice/Tentative"), "Tentative");
  EXPECT_EQ(Field6("a/b/c/d/e/f/g"), "f");
}

TEST_F(HelpersTest, SortKeysSortLikeTheirValues) {
  EXPECT_EQ(DateStamp14(at(15, 4, 9)), "20261121150409");
  EXPECT_EQ(DateStamp14(at(9, 0)), "20261121090000");
  EXPECT_LT(DateStamp14(at(9, 0)), DateStamp14(at(10, 0)));

  EXPECT_EQ(NumericSortKey(5), "00000000000000050");
  EXPECT_EQ(NumericSortKey(5.25), "00000000000000050.25");
  EXPECT_EQ(NumericSortKey(DateSerial(at(12, 0))), "00000000000463470.5");
  EXPECT_LT(NumericSortKey(99), NumericSortKey(100));
  setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  EXPECT_EQ(NumericSortKey(1.5), "00000000000000010,5");
}

TEST_F(HelpersTest, CombineDateTimeTakesDayFromOneAndTimeFromOther) {
  const QDateTime day(QDate(2026, 2, 28), QTime(23, 59, 59, 500));
  const QDateTime time(QDate(1999, 1, 1), QTime(7, 45, 30, 999));
  EXPECT_EQ(CombineDateTime(day, time), QDateTime(QDate(2026, 2, 28), QTime(7, 45, 30)));
  EXPECT_DOUBLE_EQ(DateSerial(QDateTime(QDate(1899, 12, 30), QTime(18, 0))), 0.75);
}

}  // namespace
