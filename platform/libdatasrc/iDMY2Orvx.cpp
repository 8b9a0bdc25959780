// Calendar dates as seconds since the eve of the Gregorian calendar.

#include <libdatasrc/iDMY2Orvx.h>

namespace {

constexpr long kFirstYear = 1582;
constexpr long kLastYear = 9999;

constexpr bool IsLeapYear(long year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr long DaysInMonth(long month, long year) {
  constexpr long kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from the first day of the year 1, in the Gregorian calendar carried back to then.
constexpr long DayNumber(long day, long month, long year) {
  const long before = year - 1;
  long days = 365 * before + before / 4 - before / 100 + before / 400 + day - 1;
  for (long each = 1; each < month; ++each) days += DaysInMonth(each, year);
  return days;
}

constexpr long kDayZero = DayNumber(14, 10, 1582);

bool IsDate(long day, long month, long year) {
  return year >= kFirstYear && year <= kLastYear && month >= 1 && month <= 12 && day >= 1 &&
         day <= DaysInMonth(month, year) && DayNumber(day, month, year) >= kDayZero;
}

bool IsTime(long hour, long minute, double second) {
  return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second < 61;
}

}  // namespace

int iDMY2Orvx(long day, long month, long year, long hour, long minute, double second,
              double* result) {
  if (!IsDate(day, month, year) || !IsTime(hour, minute, second)) return 1;
  const long days = DayNumber(day, month, year) - kDayZero;
  *result = static_cast<double>((days * 24 + hour) * 3600 + minute * 60) + second;
  return 0;
}
