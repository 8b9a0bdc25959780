// ValueText: dates and times as text, by the format of their variable.
//
//   FormatValue({VariableFormat::Kind::Date}, 1709164800);   // "2024-02-29"
//   ParseValue({VariableFormat::Kind::Date}, "2024-02-29");  // 1709164800

#ifndef LIBDATASRC_VALUETEXT_H_
#define LIBDATASRC_VALUETEXT_H_

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/Export.h>

#include <optional>
#include <string>
#include <string_view>

// Formats a date value, or seconds since midnight for the kind Time, in the extended format of ISO
// 8601. Ignores the width and the decimals. For the kind Date, the text has a time unless the value
// is the start of a day. Returns an empty text for the kind Plain, for a missing number, for a date
// outside the years 1 to 9999, and for a time below 0 or from 86400 on.
//
// Threads: any.
SDM_EXPORT std::string FormatValue(const VariableFormat& format, double number);

// Parses a date with an optional time for the kinds Date and DateTime, a time for the kind Time,
// and a finite decimal number for every kind. Returns nothing for any other text. A date with a
// time but without a zone is in UTC.
//
// Threads: any.
SDM_EXPORT std::optional<double> ParseValue(const VariableFormat& format, std::string_view text);

#endif  // LIBDATASRC_VALUETEXT_H_
