// Conversion of calendar dates to seconds since 1970-01-01T00:00.

#include <gtest/gtest.h>
#include <libdatasrc/iDMY2Orvx.h>

#include <cmath>
#include <ctime>
#include <limits>

namespace {

constexpr double kDay = 86400;

double Stamp(long day, long month, long year, long hour = 0, long minute = 0, double second = 0) {
  double result = -1;
  EXPECT_EQ(iDMY2Orvx(day, month, year, hour, minute, second, &result), 0);
  return result;
}

bool IsRefused(long day, long month, long year, long hour = 0, long minute = 0, double second = 0) {
  double result = -1;
  return iDMY2Orvx(day, month, year, hour, minute, second, &result) != 0 && result == -1;
}

TEST(DateValue, IsZeroAtThePosixEpoch) {
  EXPECT_EQ(Stamp(1, 1, 1970), 0);
  EXPECT_EQ(Stamp(2, 1, 1970), kDay);
  EXPECT_EQ(Stamp(31, 12, 1969), -kDay);
}

TEST(DateValue, MatchesKnownPosixTimes) {
  EXPECT_EQ(Stamp(1, 2, 1975, 12), 160488000);
  EXPECT_EQ(Stamp(9, 9, 2001, 1, 46, 40), 1e9);
  EXPECT_EQ(Stamp(19, 1, 2038, 3, 14, 8), 2147483648.0);
}

TEST(DateValue, CoversIso8601DatesFromYear1To9999) {
  EXPECT_EQ(Stamp(1, 1, 1), -62135596800);
  EXPECT_EQ(Stamp(31, 12, 9999, 23, 59, 59), 253402300799);
}

TEST(DateValue, AddsTheTimeOfDay) {
  EXPECT_EQ(Stamp(1, 1, 1970, 23, 59, 59.25), kDay - 0.75);
}

TEST(DateValue, PosixLeapSecondEqualsSecond0OfTheNextMinute) {
  EXPECT_EQ(Stamp(31, 12, 2016, 23, 59, 60), Stamp(1, 1, 2017));
}

TEST(DateValue, LeapYearsFollowTheProlepticGregorianCalendar) {
  for (const long leap : {4, 400, 1200, 1600, 2000, 2024}) {
    EXPECT_EQ(Stamp(1, 3, leap) - Stamp(28, 2, leap), 2 * kDay) << leap;
  }
  for (const long common : {1, 100, 1000, 1500, 1900, 2023, 2100}) {
    EXPECT_TRUE(IsRefused(29, 2, common)) << common;
  }
}

TEST(DateValue, MatchesGmtimeOnEveryDayOfTheRange) {
  const auto first = static_cast<std::time_t>(Stamp(1, 1, 1));
  const auto last = static_cast<std::time_t>(Stamp(31, 12, 9999));
  for (std::time_t day = first; day <= last; day += 86400) {
    std::tm date;
    double value = 0;
    if (gmtime_r(&day, &date) == nullptr ||
        iDMY2Orvx(date.tm_mday, date.tm_mon + 1, date.tm_year + 1900, 0, 0, 0, &value) != 0 ||
        value != static_cast<double>(day)) {
      FAIL() << "at " << day;
    }
  }
}

TEST(DateValue, RejectsDatesOutsideTheYears1To9999) {
  EXPECT_TRUE(IsRefused(31, 12, 0));
  EXPECT_TRUE(IsRefused(1, 1, -1));
  EXPECT_TRUE(IsRefused(1, 1, 10000));
  EXPECT_TRUE(IsRefused(1, 1, std::numeric_limits<long>::min()));
  EXPECT_TRUE(IsRefused(1, 1, std::numeric_limits<long>::max()));
  EXPECT_TRUE(IsRefused(1, 1, (1L << 32) + 2000));
}

TEST(DateValue, RejectsAnInvalidDateAndLeavesTheResultUnchanged) {
  EXPECT_TRUE(IsRefused(0, 1, 2000));
  EXPECT_TRUE(IsRefused(31, 4, 2000));
  EXPECT_TRUE(IsRefused(256 + 1, 1, 2000));
  EXPECT_TRUE(IsRefused(1, 0, 2000));
  EXPECT_TRUE(IsRefused(1, 13, 2000));
  EXPECT_TRUE(IsRefused(1, 256 + 1, 2000));
}

TEST(DateValue, RejectsAnInvalidTime) {
  EXPECT_TRUE(IsRefused(1, 1, 2000, 24));
  EXPECT_TRUE(IsRefused(1, 1, 2000, -1));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 60));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, -1));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, 61));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, -0.5));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, std::nan("")));
}

}  // namespace
