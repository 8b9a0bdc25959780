// BlankCases: a dictionary with a number of cases in which every value is missing, like a new data
// sheet.

#ifndef SDMSH_BLANKCASES_H_
#define SDMSH_BLANKCASES_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <cstddef>
#include <vector>

namespace sdmsh {

// How many cells of a row the variable takes.
std::size_t CellCount(const ORVX_Variable& variable);

// A row in which every number is missing and every string blank.
std::vector<OBS> BlankRow(const ORVX_DataSource& dictionary);

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

}  // namespace sdmsh

#endif  // SDMSH_BLANKCASES_H_
