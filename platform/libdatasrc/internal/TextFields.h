// Lines of fields, the text format of extensions: Linear TSV (Data Protocols). Tabs separate
// fields, a line feed ends each line, and \t, \n, \r and \\ in a field stand for a tab, a line
// feed, a carriage return and a backslash. There are no null fields, so no \N.

#ifndef LIBDATASRC_INTERNAL_TEXTFIELDS_H_
#define LIBDATASRC_INTERNAL_TEXTFIELDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Appends one line; `fields` is not empty.
void AppendLine(const std::vector<std::string>& fields, std::string& text);

// Parses the fields of each line. Throws std::invalid_argument, with the number of the line, for an
// unknown or incomplete escape and for a last line without a line feed.
std::vector<std::vector<std::string>> ReadLines(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTFIELDS_H_
