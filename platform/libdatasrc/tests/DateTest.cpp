// From calendar dates to seconds since the eve of the Gregorian calendar.

#include <gtest/gtest.h>
#include <libdatasrc/iDMY2Orvx.h>

#include <chrono>
#include <cmath>

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

TEST(DateValue, CountsFromTheEveOfTheGregorianCalendar) {
  EXPECT_EQ(Stamp(14, 10, 1582), 0);
  EXPECT_EQ(Stamp(15, 10, 1582), kDay);
}

TEST(DateValue, OfKnownDays) {
  EXPECT_EQ(Stamp(1, 1, 1970), 12219379200.0);
  EXPECT_EQ(Stamp(1, 2, 1975, 12), 12379867200.0);
}

TEST(DateValue, AddsTheTimeOfDay) {
  EXPECT_EQ(Stamp(1, 1, 1970, 23, 59, 59.25) - Stamp(1, 1, 1970), kDay - 0.75);
}

TEST(DateValue, ALeapSecondFallsOnTheNextMinute) {
  EXPECT_EQ(Stamp(31, 12, 2016, 23, 59, 60), Stamp(1, 1, 2017));
}

TEST(DateValue, AgreesWithTheCalendarOnEveryDayOfEightCenturies) {
  using std::chrono::sys_days;
  const sys_days first{std::chrono::year(1600) / 1 / 1};
  const sys_days last{std::chrono::year(2400) / 12 / 31};
  const sys_days zero{std::chrono::year(1582) / 10 / 14};
  for (sys_days day = first; day <= last; day += std::chrono::days(1)) {
    const std::chrono::year_month_day date{day};
    ASSERT_EQ(Stamp(static_cast<unsigned>(date.day()), static_cast<unsigned>(date.month()),
                    static_cast<int>(date.year())),
              static_cast<double>((day - zero).count()) * kDay);
  }
}

TEST(DateValue, RefusesAnImpossibleDateAndLeavesTheResultAlone) {
  EXPECT_TRUE(IsRefused(13, 10, 1582));
  EXPECT_TRUE(IsRefused(0, 1, 2000));
  EXPECT_TRUE(IsRefused(31, 4, 2000));
  EXPECT_TRUE(IsRefused(29, 2, 1900));
  EXPECT_TRUE(IsRefused(1, 0, 2000));
  EXPECT_TRUE(IsRefused(1, 13, 2000));
  EXPECT_TRUE(IsRefused(1, 1, 10000));
  EXPECT_FALSE(IsRefused(29, 2, 2000));
  EXPECT_FALSE(IsRefused(31, 12, 9999));
}

TEST(DateValue, RefusesAnImpossibleTime) {
  EXPECT_TRUE(IsRefused(1, 1, 2000, 24));
  EXPECT_TRUE(IsRefused(1, 1, 2000, -1));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 60));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, -1));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, 61));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, -0.5));
  EXPECT_TRUE(IsRefused(1, 1, 2000, 0, 0, std::nan("")));
}

}  // namespace
