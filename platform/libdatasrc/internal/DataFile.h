// DataFile: the content of a saved data file.

#ifndef LIBDATASRC_INTERNAL_DATAFILE_H_
#define LIBDATASRC_INTERNAL_DATAFILE_H_

#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/ORVX_Variable.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sdm_internal {

struct DataFile {
  std::optional<std::string> label;
  std::vector<ORVX_Variable> variables;
  CaseTable cases;
};

// Reads the file and the schema beside it; throws DataFileError for anything wrong with either.
// `check`: see SystemFileDataSource::Open.
DataFile ReadDataFile(const std::string& path, const std::function<void()>& check);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_DATAFILE_H_
