// Lines of fields, the form of text that data sources put into extensions. It is Linear TSV, as
// Data Protocols published it: tabs between fields, a line feed after each line, and in a field \t,
// \n, \r and \\ for a tab, a line feed, a carriage return and a backslash. Every field has a text,
// so there is no \N.

#ifndef LIBDATASRC_INTERNAL_TEXTFIELDS_H_
#define LIBDATASRC_INTERNAL_TEXTFIELDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Appends one line; `fields` has at least one.
void AppendLine(const std::vector<std::string>& fields, std::string& text);

// The fields of each line, none for the empty text. Throws std::invalid_argument, which names the
// line, for an unknown escape and for a last line without its line feed.
std::vector<std::vector<std::string>> ReadLines(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTFIELDS_H_
