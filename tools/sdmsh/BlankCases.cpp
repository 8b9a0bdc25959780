// One blank row, again and again.

#include "BlankCases.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using Row = std::vector<OBS>;

Row BlankRow(const ORVX_DataSource& dictionary) {
  OBS blanks;
  std::memset(blanks.text, ' ', sizeof blanks.text);
  OBS missing;
  missing.number = kSystemMissing;
  Row row;
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    const auto width = static_cast<std::size_t>(dictionary.GetVariable(position).GetType());
    const std::size_t cells = width == 0 ? 1 : (width + sizeof(OBS) - 1) / sizeof(OBS);
    row.insert(row.end(), cells, width == 0 ? missing : blanks);
  }
  return row;
}

class BlankRows final : public ObsIterator {
 public:
  BlankRows(Row row, long long count, OBS* area)
      : row_(std::move(row)), left_(count), area_(area) {}

  bool Next() override {
    if (left_ == 0) return false;
    --left_;
    std::copy(row_.begin(), row_.end(), area_);
    return true;
  }

 private:
  const Row row_;
  long long left_;
  OBS* const area_;
};

}  // namespace

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long rowCount)
    : rowCount_(rowCount) {
  CopyDictionary(&dictionary);
}

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(BlankRow(*this), rowCount_, area);
}

}  // namespace sdmsh
