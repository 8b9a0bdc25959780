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

// Formats the number by the kind of the format, in the extended format of ISO 8601; the width and
// the decimals are not used. A Date that is not the start of a day also gets its time. Returns an
// empty text for the kind Plain, for a missing number, and for a number that is not in the years 1
// to 9999 or not the time of a day.
// Threads: any.
SDM_EXPORT std::string FormatValue(const VariableFormat& format, double number);

// Parses a text of the kind of the format, or a finite decimal number. Returns nothing for any
// other text. A Date may have a time; a time without a zone is in UTC.
// Threads: any.
SDM_EXPORT std::optional<double> ParseValue(const VariableFormat& format, std::string_view text);

#endif  // LIBDATASRC_VALUETEXT_H_
