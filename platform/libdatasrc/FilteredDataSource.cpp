// Selects cases of the parent, and converts their rows to the filtered source's own dictionary.

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/PassThroughIter.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

using namespace sdm_internal;

namespace {

bool IsMissing(double number, const MissingValues& missing) {
  if (std::isnan(number)) return true;
  const auto isThis = [number](const DataValue& value) {
    const double* const declared = std::get_if<double>(&value);
    return declared != nullptr && *declared == number;
  };
  return std::any_of(missing.values.begin(), missing.values.end(), isThis);
}

// A dictionary with one variable.
class SingleVariable : public DataFreeDataSource {
 public:
  explicit SingleVariable(const ORVX_Variable& variable) { MakeVariable(variable, nullptr); }
};

// Decides whether a row is selected.
class Selection {
 public:
  // `selector` is a numeric variable of `source`.
  Selection(const ORVX_DataSource& source, const ORVX_Variable& selector)
      : number_(source, SingleVariable(selector)), missing_(selector.GetMissingValues()) {}

  bool Selects(const std::vector<OBS>& row) const {
    OBS cell;
    number_.Project(row.data(), &cell);
    return cell.number != 0 && !IsMissing(cell.number, missing_);
  }

 private:
  const ObsProjector number_;
  const MissingValues missing_;
};

class SelectedRows final : public ObsIterator {
 public:
  SelectedRows(const ORVX_DataSource& parent, Selection selection, ObsProjector projector,
               OBS* area)
      : selection_(std::move(selection)),
        projector_(std::move(projector)),
        parentArea_(RowArea(parent, projector_)),
        parentRows_(parent.MakeIterator(parentArea_.data())),
        area_(area) {}

  bool Next() override {
    do {
      if (!parentRows_->Next()) return false;
    } while (!selection_.Selects(parentArea_));
    projector_.Project(parentArea_.data(), area_);
    return true;
  }

 private:
  const Selection selection_;
  const ObsProjector projector_;
  std::vector<OBS> parentArea_;
  const std::unique_ptr<ObsIterator> parentRows_;
  OBS* const area_;
};

const ORVX_Variable& SelectorIn(const ORVX_DataSource& source, LocallyUniqueID selector) {
  const std::string name = "FilteredDataSource: the selecting variable " + selector.ToString();
  const int position = source.FindVarIndex(selector);
  if (position < 0) throw std::invalid_argument(name + " is not in the parent's dictionary");
  const ORVX_Variable& variable = source.GetVariable(position);
  if (variable.GetType() != 0) throw std::invalid_argument(name + " is a string");
  return variable;
}

}  // namespace

FilteredDataSource::FilteredDataSource(ORVX_DataSource* parent) : ORVX_DataSource(parent) {
  CopyDictionary(parent);
}

FilteredDataSource::FilteredDataSource(ORVX_DataSource* parent, LocallyUniqueID selector)
    : FilteredDataSource(parent) {
  static_cast<void>(SelectorIn(*parent, selector));
  selector_ = selector;
  selects_ = true;
}

FilteredDataSource::~FilteredDataSource() = default;

ObsIterator* FilteredDataSource::MakeIterator(OBS* area) const {
  const ORVX_DataSource& parent = *GetParentSource();
  if (!selects_) {
    return new PassThroughIter(this, area, std::make_unique<const ObsProjector>(parent, *this));
  }
  return new SelectedRows(parent, Selection(parent, SelectorIn(parent, selector_)),
                          ObsProjector(parent, *this), area);
}

long long FilteredDataSource::RowCount() const {
  return selects_ ? -1 : GetParentSource()->RowCount();
}

bool FilteredDataSource::IsLoaded() const {
  return GetParentSource()->IsLoaded();
}
