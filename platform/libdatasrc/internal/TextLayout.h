// Finds the delimiter and the decimal mark of delimited text.

#ifndef LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
#define LIBDATASRC_INTERNAL_TEXTLAYOUT_H_

#include <string_view>

namespace sdm_internal {

// `start`: the header and the first records; the last record may be incomplete. Errors in the text
// are not reported.

// Of the delimiters that give the header and the first records the same number of fields, the one
// with the most fields; if there is none, the most frequent in the header. Quoted text does not
// count. On a tie, in this order: comma, tab, semicolon, bar, space. The first if no delimiter
// occurs in the header. A space only if no other delimiter occurs in the header, records have no
// empty fields, and one has a number.
char FindDelimiter(std::string_view start, bool commaIsPossible);

// A comma if more fields are numbers with a decimal comma than with a decimal point. Fields such as
// 1,234 do not count: the comma may separate thousands. A point if the delimiter is a comma.
char FindDecimalMark(std::string_view start, char delimiter);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTLAYOUT_H_
