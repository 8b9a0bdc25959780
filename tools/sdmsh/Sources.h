// Sources: opens data files as data sources, and makes other data sources.

#ifndef SDMSH_SOURCES_H_
#define SDMSH_SOURCES_H_

#include <libdatasrc/ImportOptions.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <memory>
#include <string>

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

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
