// One blank row, again and again.

#include "BlankCases.h"

#include "Interrupt.h"

#include <libdatasrc/ObsIterator.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace sdmsh {
namespace {

class BlankRows final : public ObsIterator {
 public:
  BlankRows(std::vector<OBS> row, long long count, OBS* area)
      : row_(std::move(row)), left_(count), area_(area) {}

  bool Next() override {
    GiveUpIfInterrupted();  // a filter may read on for as long as there are rows
    if (left_ == 0) return false;
    --left_;
    std::copy(row_.begin(), row_.end(), area_);
    return true;
  }

 private:
  const std::vector<OBS> row_;
  long long left_;
  OBS* const area_;
};

}  // namespace

std::size_t CellCount(const ORVX_Variable& variable) {
  const auto width = static_cast<std::size_t>(variable.GetType());
  return width == 0 ? 1 : (width + sizeof(OBS) - 1) / sizeof(OBS);
}

std::vector<OBS> BlankRow(const ORVX_DataSource& dictionary) {
  OBS blanks;
  std::memset(blanks.text, ' ', sizeof blanks.text);
  OBS missing;
  missing.number = kMissingNumber;
  std::vector<OBS> row;
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    const ORVX_Variable& variable = dictionary.GetVariable(position);
    row.insert(row.end(), CellCount(variable), variable.GetType() == 0 ? missing : blanks);
  }
  return row;
}

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long rowCount)
    : rowCount_(rowCount) {
  CopyDictionary(&dictionary);
}

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(BlankRow(*this), rowCount_, area);
}

}  // namespace sdmsh
