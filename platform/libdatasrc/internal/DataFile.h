// DataFile: the content of a data file, with the dictionary from its schema.

#ifndef LIBDATASRC_INTERNAL_DATAFILE_H_
#define LIBDATASRC_INTERNAL_DATAFILE_H_

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ImportOptions.h>
#include <libdatasrc/ImportReport.h>
#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/Progress.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sdm_internal {

struct DataFile {
  std::optional<std::string> label;
  std::vector<ORVX_Variable> variables;
  CaseTable cases;
  ImportReport report;
  DatasourceAttributes attributes;
  // Positions of variables; -1 for none.
  int weight = -1;
  int filter = -1;
  std::vector<int> split;
  bool splitSeparate = false;
};

// The `check` and `progress` of SystemFileDataSource::Open. Either may be empty. Both are called on
// the thread that calls ReadDataFile.
struct ReadCalls {
  std::function<void()> check;
  Progress progress;
};

// The file is read in blocks, each parsed on one of several threads.
struct BlockSettings {
  std::size_t firstBytes = std::size_t{64} << 10;  // size of the first block
  // The size of the other blocks. 0: 128 KiB, or 64 bytes per column if that is larger.
  std::size_t bytes = 0;
  unsigned int threads = 0;  // 0: one per processor, at most 8
};

// Reads the file and the schema beside it, as SystemFileDataSource::Open does.
DataFile ReadDataFile(const std::string& path, const ImportOptions& options, const ReadCalls& calls,
                      const BlockSettings& settings = {});

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_DATAFILE_H_
