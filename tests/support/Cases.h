// The cases of a source as lines of text.

#ifndef TESTS_SUPPORT_CASES_H_
#define TESTS_SUPPORT_CASES_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <string>
#include <vector>

namespace support {

// Each row of `source`, cell by cell, laid out as `layout` says: numbers in full, a point for a
// missing one, strings with the blanks that pad their cells.
std::vector<std::string> RowsLaidOutBy(const ORVX_DataSource& layout,
                                       const ORVX_DataSource& source);

// The same, laid out as the source's own dictionary says.
std::vector<std::string> RowsOf(const ORVX_DataSource& source);

// Those of them in which the numeric variable of that name is neither 0 nor missing.
std::vector<std::string> RowsWhere(const ORVX_DataSource& source, const std::string& name);

// The identifier of the first variable of that name.
LocallyUniqueID IdOf(const ORVX_DataSource& source, const std::string& name);

}  // namespace support

#endif  // TESTS_SUPPORT_CASES_H_
