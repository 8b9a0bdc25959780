#include "Sources.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Output.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace sdmsh {
namespace {

class BlankRows final : public ObsIterator {
 public:
  BlankRows(const ORVX_DataSource& dictionary, long long count, OBS* area)
      : blank_(DataFreeDataSource(), dictionary), left_(count), area_(area) {}

  bool Next() override {
    GiveUpIfInterrupted();  // a filtered source may skip all rows before it returns
    if (left_ == 0) return false;
    --left_;
    blank_.Project(/*from=*/nullptr, area_);
    return true;
  }

 private:
  const ObsProjector blank_;  // projects rows without variables, so each value is missing
  long long left_;
  OBS* const area_;
};

std::unique_ptr<SvrDMCloneDataSource> CopyOf(const SvrDMCloneDataSource& clone) {
  auto copy = std::make_unique<SvrDMCloneDataSource>(clone);
  copy->SetDirty(clone.IsDirty());  // the dirty flag is not part of the dictionary
  return copy;
}

}  // namespace

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long rowCount)
    : rowCount_(rowCount) {
  CopyDictionary(&dictionary);
}

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(*this, rowCount_, area);
}

ImportOptions TakeImportOptions(Arguments& arguments) {
  ImportOptions options;
  for (;;) {
    if (arguments.Accept("delimiter")) {
      const std::size_t word = arguments.TakeOneOf({"comma", "tab", "semicolon", "bar", "space"});
      options.delimiter = ",\t;| "[word];
    } else if (arguments.Accept("decimal")) {
      options.decimalMark = ".,"[arguments.TakeOneOf({"point", "comma"})];
    } else if (arguments.Accept("encoding")) {
      options.encoding = arguments.Take("ENCODING");
    } else {
      return options;
    }
  }
}

std::unique_ptr<SystemFileDataSource> OpenDataFile(Output& output, const std::string& file,
                                                   const ImportOptions& options) {
  ProgressBar bar(output);
  return SystemFileDataSource::Open(file, options, std::ref(bar));
}

std::unique_ptr<FilteredDataSource> ViewOf(ORVX_DataSource& source, LocallyUniqueID selector) {
  auto view = selector.IsNull() ? std::make_unique<FilteredDataSource>(&source)
                                : std::make_unique<FilteredDataSource>(&source, selector);
  view->SetDirty(source.IsDirty());  // the dirty flag is not part of the dictionary
  return view;
}

std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer) {
  ORVX_DataSource* const source = *writer;
  if (const auto* const clone = dynamic_cast<const SvrDMCloneDataSource*>(source)) {
    return CopyOf(*clone);
  }
  // The clones own `view`, a filtered source. It gets `source` as its parent only when nothing can
  // fail any more, because a clone that cannot adopt a source deletes that source with its parents.
  auto view = ViewOf(*source);
  FilteredDataSource& shared = *view;
  shared.SetParentSource(nullptr);
  auto clone = SvrDMCloneDataSource::Adopt(std::move(view));
  clone->SetDirty(source->IsDirty());
  auto copy = CopyOf(*clone);

  // SetDataSet(clone) deletes the dataset's chain of sources. `source` must not be in that chain,
  // so an interim filtered source replaces `source` and is then separated from it.
  auto interim = ViewOf(*source);
  FilteredDataSource& placed = *interim;
  writer.SetDataSet(std::move(interim));
  placed.SetParentSource(nullptr);
  shared.SetParentSource(source);  // from here on, the clones own the former source
  writer.SetDataSet(std::move(clone));
  return copy;
}

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
  if (!isAdded && !isAlive_.expired()) {
    view_->SetParentSource(nullptr);
    delete view_;
  }
  isAlive_.reset();
}

}  // namespace sdmsh
