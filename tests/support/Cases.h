// The cases of a source as lines of text.

#ifndef TESTS_SUPPORT_CASES_H_
#define TESTS_SUPPORT_CASES_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <string>
#include <vector>

namespace support {

// Formats each row of `source` as a line. The variables of `layout` say what each cell contains.
// Numbers are exact, a missing number is ".", and strings keep the padding of their cells.
std::vector<std::string> RowsLaidOutBy(const ORVX_DataSource& layout,
                                       const ORVX_DataSource& source);

// Formats the rows of `source`, with the layout of its own dictionary.
std::vector<std::string> RowsOf(const ORVX_DataSource& source);

// Formats the rows of `source` in which the first variable called `name`, which must be numeric, is
// neither 0 nor a missing number. Throws std::invalid_argument if no variable has this name.
std::vector<std::string> RowsWhere(const ORVX_DataSource& source, const std::string& name);

// The identifier of the first variable called `name`. Throws std::invalid_argument if there is
// none.
LocallyUniqueID IdOf(const ORVX_DataSource& source, const std::string& name);

}  // namespace support

#endif  // TESTS_SUPPORT_CASES_H_
