// Finds the delimiter and the decimal mark of delimited text.

#ifndef LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
#define LIBDATASRC_INTERNAL_TEXTLAYOUT_H_

#include <string_view>

namespace sdm_internal {

// `start` is the header and the first records of a file; the last record may be incomplete. The
// functions ignore errors in the text, and delimiters in quotes.

// Among comma, tab, semicolon and bar, considers the delimiters that occur in the header. Prefers a
// delimiter that gives the header and all first records the same number of fields, then the
// delimiter with the most fields in the header, then the first in the order above.
// If none of the four occurs in the header, returns a space if all records have the same number of
// fields, at least two, no field is empty, and a field after the header is a number. Otherwise
// returns a comma, or a tab if a comma is not possible, because it is the decimal mark.
char FindDelimiter(std::string_view start, bool commaIsPossible);

// Returns a comma if the delimiter is not a comma, and more fields are numbers with a decimal comma
// than with a decimal point. Otherwise returns a point. Fields such as 1,234 do not count as
// numbers with a decimal comma: the comma may separate thousands.
char FindDecimalMark(std::string_view start, char delimiter);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
