// CaseReader: reads the cases of a data source as values.
//
//   CaseReader cases(source);
//   while (cases.Next()) Use(cases.Values());

#ifndef LIBDATASRC_CASEREADER_H_
#define LIBDATASRC_CASEREADER_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/Progress.h>
#include <ServerDataManager/Export.h>

#include <cstdint>
#include <memory>
#include <vector>

class ORVX_DataSource;

// Reads the values of the variables in the source's own dictionary, even if the rows of the source
// have the layout of another dictionary (RowLayout()). Later changes of the dictionary have no
// effect. Keeps one row in memory.
//
// Threads: not safe; each thread creates its own.
class SDM_EXPORT CaseReader {
 public:
  // Creates an iterator of `source`. The reader may outlive `source` if the source's iterators
  // may. Throws std::invalid_argument if the source's GetObsAreaSize() is not the number of cells
  // in a row of its RowLayout().
  //
  // Next calls `progress` before the first case and after every 1,024 cases, and throws GivenUp if
  // `progress` returns false. Progress is counted in bytes, GetObsAreaSize() * sizeof(OBS) for each
  // case; the total is 0 if RowCount() is unknown.
  explicit CaseReader(const ORVX_DataSource& source, Progress progress = {});
  CaseReader(const CaseReader&) = delete;
  CaseReader& operator=(const CaseReader&) = delete;
  ~CaseReader();

  // Moves to the next case; the first call moves to the first case. Returns false after the last
  // case. Exceptions of the iterator propagate; the iterator defines which case follows. If memory
  // runs out while a case is converted, the next call skips that case.
  bool Next();

  // The values of the current case, one for each variable, after Next returned true. Strings have
  // no trailing blanks.
  std::vector<DataValue> Values() const;

 private:
  SDM_HIDDEN std::uint64_t RowBytes() const { return row_.size() * sizeof(OBS); }

  const ObsProjector projector_;
  std::vector<int> types_;  // of the variables
  std::vector<OBS> row_;    // with the layout of the source's rows
  std::vector<OBS> area_;   // with the layout of the source's own dictionary
  const std::unique_ptr<ObsIterator> rows_;
  const Progress progress_;
  const std::uint64_t total_;  // bytes; 0: unknown
  std::uint64_t read_ = 0;     // cases
};

#endif  // LIBDATASRC_CASEREADER_H_
