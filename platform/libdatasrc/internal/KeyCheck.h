// Checks the keys of a table schema against columns of values.

#ifndef LIBDATASRC_INTERNAL_KEYCHECK_H_
#define LIBDATASRC_INTERNAL_KEYCHECK_H_

#include <libdatasrc/internal/CaseTable.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace sdm_internal {

// The columns of a key, at least one, all with the same number of rows. A row with a missing value
// has no key. Borrows the columns.
using KeyColumns = std::vector<const CaseColumn*>;

// The first row with the same key as an earlier row; nothing if all keys differ. Takes memory for
// each row.
std::optional<std::size_t> FirstRepeatedRow(const KeyColumns& key);

// The first row of `key` whose key is in no row of `referenced`; nothing if there is none. `key`
// and `referenced` have the same number of columns. If a column of numbers is compared with a
// column of texts, each number is compared as its shortest text.
std::optional<std::size_t> FirstRowWithoutReference(KeyColumns key, KeyColumns referenced);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_KEYCHECK_H_
