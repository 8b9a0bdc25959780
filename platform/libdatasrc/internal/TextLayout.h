// Finds the delimiter and the decimal mark of delimited text.

#ifndef LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
#define LIBDATASRC_INTERNAL_TEXTLAYOUT_H_

#include <string_view>

namespace sdm_internal {

// In both functions, `start` is the header and the first records; the last record may be
// incomplete. Errors in the text are ignored, and so are delimiters in quotes.

// Chooses among the delimiters that occur in the header. Prefers a delimiter that gives the header
// and the first records the same number of fields. If several or none do, prefers the delimiter
// with the most fields in the header, then the first of comma, tab, semicolon, bar. A space is
// chosen only if none of these occurs in the header, all records have the same number of fields, at
// least two, no field is empty, and a field after the header is a number. Otherwise returns a
// comma, or a tab if a comma is not possible, because it is the decimal mark.
char FindDelimiter(std::string_view start, bool commaIsPossible);

// A comma if more fields are numbers with a decimal comma than with a decimal point. Fields such as
// 1,234 do not count: the comma may separate thousands. A point if the delimiter is a comma.
char FindDecimalMark(std::string_view start, char delimiter);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
