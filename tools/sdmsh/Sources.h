// Sources: opens data files as data sources, and makes data sources from other data sources.

#ifndef SDMSH_SOURCES_H_
#define SDMSH_SOURCES_H_

#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/ImportOptions.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

class SvrDMCloneDataSource;
class SvrDMWriteableDataSource;
class SystemFileDataSource;

namespace sdmsh {

class Arguments;
class Output;

// A data source with a number of blank cases: numbers are missing, and strings consist of blanks.
//
// Threads: as for ORVX_DataSource.
class BlankCases final : public ORVX_DataSource {
 public:
  // Copies the dictionary. `rowCount` must not be negative.
  BlankCases(const ORVX_DataSource& dictionary, long long rowCount);

  // The caller owns the iterator, and the iterator borrows `area`. Next() of the iterator throws
  // CommandError after ctrl-C, see CommandError.h.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override { return rowCount_; }

 private:
  const long long rowCount_;
};

// Takes "delimiter WORD", "decimal WORD" and "encoding NAME", in any order, or nothing.
ImportOptions TakeImportOptions(Arguments& arguments);

// Opens a data file, with a progress bar. Throws what SystemFileDataSource::Open throws, and
// CommandError after ctrl-C.
std::unique_ptr<SystemFileDataSource> OpenDataFile(Output& output, const std::string& file,
                                                   const ImportOptions& options);

// Returns a source with `source` as its parent, the same dictionary and the same dirty flag. With a
// `selector`, the identifier of a numeric variable, the returned source has only the cases that
// this variable selects: see FilteredDataSource.
std::unique_ptr<FilteredDataSource> ViewOf(ORVX_DataSource& source, LocallyUniqueID selector = {});

// Returns a clone of the writer's data source, which must not be null: the same dictionary,
// including unsaved changes, and the same cases. If the source is not a clone yet, an equal clone
// replaces it in the dataset, which queues two messages about a replaced source. The two clones
// share ownership of the former source.
//
// After an exception, the dataset has its former source, a filtered source over it, or the clone
// that replaces it.
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

  // Returns `source` if it has none of these variables.
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override;

  // To be called after each addition to the registry. If the addition failed before a dataset owned
  // the filtered source, deletes the filtered source; the registry has already deleted its parent.
  void EndAddition(bool isAdded) noexcept;

 private:
  class View;

  const std::vector<std::string> names_;
  View* view_ = nullptr;               // made last; valid while isAlive_ has not expired
  std::weak_ptr<const void> isAlive_;  // expires when view_ is deleted, and after each addition
};

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
