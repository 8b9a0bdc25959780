// Sources: opens data files as data sources, and makes other data sources.

#ifndef SDMSH_SOURCES_H_
#define SDMSH_SOURCES_H_

#include <libdatasrc/ImportOptions.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

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
  // the filtered source, deletes the filtered source without its parent, which the registry has
  // already deleted.
  void EndAddition(bool isAdded) noexcept;

 private:
  class View;

  const std::vector<std::string> names_;
  View* view_ = nullptr;               // the latest; valid until isAlive_ expires
  std::weak_ptr<const void> isAlive_;  // expires when view_ is deleted, and after each addition
};

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
