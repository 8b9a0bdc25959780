// Data sources of the shell's own, and a way through the cases of any.

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

// The cases of a source, one after the other, as values of its variables.
//
//   CaseRows rows(source);
//   while (rows.Next()) Show(rows.Values());
//
// Borrows the source, which nobody may change meanwhile. Has one row at a time.
//
// Threads: one, under a lock on the dataset of the source.
class CaseRows {
 public:
  explicit CaseRows(const ORVX_DataSource& source);

  // Moves to the next case, the first one at the first call; false where there is none. Gives up
  // on ctrl-C, see Interrupt.h.
  bool Next();

  // The values of the present case, one for each variable. Strings come without the blanks that pad
  // them.
  std::vector<DataValue> Values() const;

 private:
  const ORVX_DataSource& source_;
  const ObsProjector projector_;  // to rows of the source's own dictionary
  std::vector<OBS> layoutArea_;   // a row before the projector
  std::vector<OBS> area_;
  const std::unique_ptr<ObsIterator> rows_;
};

// A dictionary with a number of cases in which every value is missing, like a new data sheet.
//
// Threads: as for ORVX_DataSource.
class BlankCases final : public ORVX_DataSource {
 public:
  // Copies the dictionary. `rowCount` is not negative.
  BlankCases(const ORVX_DataSource& dictionary, long long rowCount);

  // Rows of missing numbers and blank strings.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override { return rowCount_; }

 private:
  const long long rowCount_;
};

// A clone of the writer's data source, which is not null: the same dictionary, unsaved changes
// included, and the same cases. If the source is no clone yet, the dataset gets an equal clone in
// its place, and the two clones own the source; that queues two messages of a replaced source. The
// Source() of the clones passes the cases through and stands on top of the former source.
//
// Where it throws, the dataset has its source, or the clone of it.
//
// Threads: that of the writer.
std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer);

// A filter hook that hides variables of certain names: it puts a source without them on top of each
// source that is added to the registry.
//
// Threads: one at a time.
class HiddenVariables final : public ORVX_DataSourceFilterHook {
 public:
  explicit HiddenVariables(std::vector<std::string> names) : names_(std::move(names)) {}

  // A source that has `source` as its parent, its dictionary without the variables, and its cases;
  // `source` itself where it has none of these variables.
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override;

 private:
  const std::vector<std::string> names_;
};

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
