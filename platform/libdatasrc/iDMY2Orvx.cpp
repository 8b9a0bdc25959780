// Uses the calendar of the standard library, which is the proleptic Gregorian calendar.

#include <libdatasrc/iDMY2Orvx.h>

#include <chrono>

namespace {

bool IsBetween(long least, long number, long most) {
  return least <= number && number <= most;
}

// The result is not ok() if the numbers are not a date.
std::chrono::year_month_day DateOf(long day, long month, long year) {
  // The standard library's types truncate numbers that they cannot hold.
  if (!IsBetween(1, year, 9999) || !IsBetween(1, month, 12) || !IsBetween(1, day, 31)) return {};
  return {std::chrono::year(static_cast<int>(year)),
          std::chrono::month(static_cast<unsigned int>(month)),
          std::chrono::day(static_cast<unsigned int>(day))};
}

bool IsTime(long hour, long minute, double second) {
  return IsBetween(0, hour, 23) && IsBetween(0, minute, 59) && second >= 0 && second < 61;
}

}  // namespace

int iDMY2Orvx(long day, long month, long year, long hour, long minute, double second,
              double* result) {
  const std::chrono::year_month_day date = DateOf(day, month, year);
  if (!date.ok() || !IsTime(hour, minute, second)) return 1;
  const long days = std::chrono::sys_days(date).time_since_epoch().count();
  *result = static_cast<double>((days * 24 + hour) * 3600 + minute * 60) + second;
  return 0;
}
