// FieldValue: dates, times and truth values as text.
//
// Dates and times are in the extended format of ISO 8601 (RFC 3339 without its "unknown offset"),
// years 0001 to 9999. A date or a date with a time is a date value (iDMY2Orvx.h), a time seconds
// since midnight.
//
//   ParseDateTime("2024-02-29T13:45:00+01:00");   // 1709210700
//   DateTimeText(1709210700);                     // "2024-02-29T12:45:00"

#ifndef LIBDATASRC_INTERNAL_FIELDVALUE_H_
#define LIBDATASRC_INTERNAL_FIELDVALUE_H_

#include <optional>
#include <string>
#include <string_view>

namespace sdm_internal {

// Parsers read the whole text; blanks around it are not allowed. Each returns nothing for any other
// text and for a day, an hour, a minute or a second that does not exist.
// Threads: any. They allocate nothing.

// YYYY-MM-DD.
std::optional<double> ParseDate(std::string_view text);

// hh:mm[:ss[.fraction]]. 24:00 does not exist, second 60 does.
std::optional<double> ParseTime(std::string_view text);

// A date, "T" or "t" or one blank, and a time, then optionally a zone: Z, z, or +hh:mm, +hhmm or
// +hh with either sign. The value is in UTC; a text without a zone is taken as UTC. An offset of
// 24 hours or more does not exist.
std::optional<double> ParseDateTime(std::string_view text);

// A date, a time or both by a pattern of strptime (POSIX) with numbers of one or two digits, for
// year 1970, month 1, day 1 and midnight where the pattern says nothing:
//   %Y %y %m %d %j         year (four digits; two digits from 1969), month, day; day of the year
//   %B %b                  English name of the month, in full or its first three letters
//   %H %I %p %M %S %f      hour, hour of 12 with AM or PM, minute, second, fraction of a second
//   %z %%                  a zone as in ParseDateTime; a percent sign
// Other characters stand for themselves. `pattern` must have passed CheckDatePattern.
std::optional<double> ParseByPattern(std::string_view text, std::string_view pattern);

// Throws std::invalid_argument for a directive other than `directives`, such as "Ymd", and for
// directives that contradict each other, such as %Y and %y.
void CheckDatePattern(std::string_view pattern, std::string_view directives);

// "true" or "false" in lower or upper case or capitalised; not 1 and 0, which are numbers unless a
// schema says otherwise.
std::optional<bool> ParseBoolean(std::string_view text);

// The inverses: texts that parse to the same number, with the shortest fraction of a second. Empty
// if there is none: DateText needs the start of a day, TimeText less than a day, and dates a year
// from 1 to 9999.
std::string DateText(double value);
std::string TimeText(double seconds);
std::string DateTimeText(double value);  // without a zone

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FIELDVALUE_H_
