// FieldValue: dates, times and truth values as text.
//
// Dates and times are in the extended format of ISO 8601; each parser says what else it accepts.
// The offset -00:00 means UTC, like Z. Years are 0001 to 9999. A date or a date with a time is a
// date value (iDMY2Orvx.h); a time is seconds since midnight.
//
//   ParseDateTime("2024-02-29T13:45:00+01:00");   // 1709210700
//   DateTimeText(1709210700);                     // "2024-02-29T12:45:00"

#ifndef LIBDATASRC_INTERNAL_FIELDVALUE_H_
#define LIBDATASRC_INTERNAL_FIELDVALUE_H_

#include <optional>
#include <string>
#include <string_view>

namespace sdm_internal {

// Each parser reads the whole text and allows no blanks around it. It returns nothing for a text in
// another format, and for a day, an hour, a minute or a second that does not exist.
// Threads: any. The parsers allocate nothing.

// YYYY-MM-DD.
std::optional<double> ParseDate(std::string_view text);

// hh:mm[:ss[.fraction]]; a comma may replace the point. Second 60 is allowed, 24:00 is not.
std::optional<double> ParseTime(std::string_view text);

// A date, then "T", "t" or one blank, then a time, then optionally a zone. A zone is Z, z, or an
// offset from UTC: +hh:mm, +hhmm or +hh, or the same with "-". An offset has hours up to 23 and
// minutes up to 59. The result is in UTC; a text without a zone is taken as UTC.
std::optional<double> ParseDateTime(std::string_view text);

// Parses a date, a time or both by a pattern of strptime (POSIX). Parts that the pattern lacks are
// taken from 1970-01-01T00:00:00 in UTC. Case does not matter in %B, %b and %p. The directives are:
//   %Y  year, four digits                 %y  year, two digits, for 1969 to 2068
//   %m  month, one or two digits          %d  day of the month, one or two digits
//   %B  English name of the month         %b  first three letters of that name
//   %j  day of the year, three digits     %H  hour, one or two digits
//   %I  hour 1 to 12, one or two digits   %p  AM or PM
//   %M  minute, one or two digits         %S  second, one or two digits
//   %f  fraction of a second              %z  zone, as in ParseDateTime; %% is a percent sign
// The offset +hh may stand only at the end of the text. Other characters stand for themselves.
// `pattern` must have passed CheckDatePattern.
std::optional<double> ParseByPattern(std::string_view text, std::string_view pattern);

// `directives` has the letters of the allowed directives, such as "Ymd". Throws
// std::invalid_argument for any other directive; for a directive that occurs twice; for directives
// that contradict each other, such as %Y and %y; for %I without %p or %p without %I; and for a
// pattern without a directive. %% is always allowed, but does not count as a directive.
void CheckDatePattern(std::string_view pattern, std::string_view directives);

// Parses "true", "True", "TRUE", "false", "False" and "FALSE". Returns nothing for 1 and 0, which
// are numbers if no schema says otherwise.
std::optional<bool> ParseBoolean(std::string_view text);

// The inverses of ParseDate, ParseTime and ParseDateTime: texts that parse to the same number, with
// the shortest fraction of a second. Empty if there is no such text: DateText requires the start of
// a day, TimeText a number from 0 to below 86400, DateText and DateTimeText a year from 1 to 9999.
std::string DateText(double value);
std::string TimeText(double seconds);
std::string DateTimeText(double value);  // without a zone

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FIELDVALUE_H_
