#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/HiddenVariables.h>

#include <algorithm>
#include <utility>

class HiddenVariables::View final : public FilteredDataSource {
 public:
  using FilteredDataSource::FilteredDataSource;

  const std::shared_ptr<const void> isAlive = std::make_shared<char>();
};

ORVX_DataSource* HiddenVariables::FilterDataSource(ORVX_DataSource* source) {
  auto view = std::make_unique<View>(source);
  view->SetDirty(source->IsDirty());  // the dirty flag is not part of the dictionary
  for (int position = view->ColumnCount() - 1; position >= 0; --position) {
    const std::string& name = std::as_const(*view).GetVariable(position).GetName();
    const bool isHidden = std::find(names_.begin(), names_.end(), name) != names_.end();
    if (isHidden) view->DeleteVariables(position, position);
  }
  if (view->ColumnCount() == source->ColumnCount()) return source;
  isAlive_ = view->isAlive;
  return view_ = view.release();
}

void HiddenVariables::EndAddition(bool isAdded) noexcept {
  if (!isAdded && !isAlive_.expired()) delete view_;
  isAlive_.reset();
}
