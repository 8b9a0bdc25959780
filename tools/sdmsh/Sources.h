// Sources: the data sources that the shell defines, and an iterator over the cases of any source.

#ifndef SDMSH_SOURCES_H_
#define SDMSH_SOURCES_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class SvrDMCloneDataSource;
class SvrDMWriteableDataSource;

namespace sdmsh {

// Iterates over the cases of a source and gives the values of its variables.
//
//   CaseRows rows(source);
//   while (rows.Next()) Show(rows.Values());
//
// Borrows the source, which must not change in the meantime. Keeps one row in memory.
//
// Threads: one, which holds a lock on the dataset of the source.
class CaseRows {
 public:
  explicit CaseRows(const ORVX_DataSource& source);

  // Moves to the next case; the first call moves to the first case. Returns false at the end.
  // Throws CommandError after ctrl-C, see Interrupt.h.
  bool Next();

  // The values of the current case, one for each variable. Strings have no trailing blanks.
  std::vector<DataValue> Values() const;

 private:
  const ORVX_DataSource& source_;
  const ObsProjector projector_;  // from the iterator's rows to rows of the source's dictionary
  std::vector<OBS> layoutArea_;   // a row as the iterator gives it
  std::vector<OBS> area_;
  const std::unique_ptr<ObsIterator> rows_;
};

// A data source with a number of blank cases: numbers are missing, and strings consist of blanks.
//
// Threads: as for ORVX_DataSource.
class BlankCases final : public ORVX_DataSource {
 public:
  // Copies the dictionary. `rowCount` must not be negative.
  BlankCases(const ORVX_DataSource& dictionary, long long rowCount);

  // The caller owns the iterator, and the iterator borrows `area`.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override { return rowCount_; }

 private:
  const long long rowCount_;
};

// Returns a clone of the writer's data source, which must not be null: the same dictionary,
// including unsaved changes, and the same cases. If the source is not a clone yet, an equal clone
// replaces it in the dataset, which queues two messages about a replaced source. The two clones
// share ownership of the former source; their Source() passes its cases through.
//
// After an exception, the dataset has either its former source or the clone that replaces it.
//
// Threads: the writer's thread.
std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer);

// A filter hook that hides the variables with certain names: it puts a filtered source without
// these variables on top of each source that is added to the registry.
//
// Threads: one at a time.
class HiddenVariables final : public ORVX_DataSourceFilterHook {
 public:
  explicit HiddenVariables(std::vector<std::string> names) : names_(std::move(names)) {}

  // Returns a new source with `source` as its parent, the same cases, and the same dictionary
  // without the hidden variables; returns `source` if it has none of these variables.
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override;

 private:
  const std::vector<std::string> names_;
};

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
