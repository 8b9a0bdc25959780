// A source that shows its parent without some variables.

#include "HiddenVariables.h"

#include "BlankCases.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace sdmsh {
namespace {

// Cells that go from a row of the parent to a row of this source.
struct CellRange {
  std::size_t from;
  std::size_t to;
  std::size_t count;
};

// Where each variable begins in a row, and after the last where the row ends.
std::vector<std::size_t> Offsets(const ORVX_DataSource& dictionary) {
  std::vector<std::size_t> offsets = {0};
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    offsets.push_back(offsets.back() + CellCount(dictionary.GetVariable(position)));
  }
  return offsets;
}

// A variable that the parent does not have, or has with another type, is left out: its cells stay
// blank.
std::vector<CellRange> SharedCells(const ORVX_DataSource& parent, const ORVX_DataSource& source) {
  const std::vector<std::size_t> parentOffsets = Offsets(parent);
  const std::vector<std::size_t> sourceOffsets = Offsets(source);
  std::vector<CellRange> shared;
  for (int position = 0; position < source.ColumnCount(); ++position) {
    const ORVX_Variable& variable = source.GetVariable(position);
    const int parentPosition = parent.FindVarIndex(variable.GetID());
    if (parentPosition < 0) continue;
    if (parent.GetVariable(parentPosition).GetType() != variable.GetType()) continue;
    shared.push_back({parentOffsets[static_cast<std::size_t>(parentPosition)],
                      sourceOffsets[static_cast<std::size_t>(position)], CellCount(variable)});
  }
  return shared;
}

// Outlives edits of the dictionary, as the parent's iterator does.
class ShownRows final : public ObsIterator {
 public:
  ShownRows(const ORVX_DataSource& parent, const ORVX_DataSource& source, OBS* area)
      : shared_(SharedCells(parent, source)),
        blanks_(BlankRow(source)),
        parentArea_(static_cast<std::size_t>(parent.GetObsAreaSize())),
        parentRows_(parent.MakeIterator(parentArea_.data())),
        area_(area) {}

  bool Next() override {
    if (!parentRows_->Next()) return false;
    std::copy(blanks_.begin(), blanks_.end(), area_);
    for (const CellRange& cells : shared_) {
      std::copy_n(&parentArea_[cells.from], cells.count, area_ + cells.to);
    }
    return true;
  }

 private:
  const std::vector<CellRange> shared_;
  const std::vector<OBS> blanks_;
  std::vector<OBS> parentArea_;
  const std::unique_ptr<ObsIterator> parentRows_;
  OBS* const area_;
};

// Its parent is for good the source that it was made on.
class ShownPart final : public ORVX_DataSource {
 public:
  ShownPart(ORVX_DataSource& parent, const std::vector<int>& hiddenPositions)
      : ORVX_DataSource(&parent) {
    CopyDictionary(&parent);
    std::for_each(hiddenPositions.rbegin(), hiddenPositions.rend(),
                  [this](int position) { DeleteVariables(position, position); });
  }

  ObsIterator* MakeIterator(OBS* area) const override {
    return new ShownRows(*GetParentSource(), *this, area);
  }
  long long RowCount() const override { return GetParentSource()->RowCount(); }
  bool IsLoaded() const override { return GetParentSource()->IsLoaded(); }
};

std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names) {
  std::vector<int> positions;
  for (int position = 0; position < source.ColumnCount(); ++position) {
    const std::string name = source.GetVariable(position).GetName();
    if (std::find(names.begin(), names.end(), name) != names.end()) positions.push_back(position);
  }
  return positions;
}

}  // namespace

ORVX_DataSource* HiddenVariables::FilterDataSource(ORVX_DataSource* source) {
  const std::vector<int> hidden = PositionsOf(*source, names_);
  return hidden.empty() ? source : new ShownPart(*source, hidden);
}

}  // namespace sdmsh
