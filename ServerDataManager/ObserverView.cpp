#include <ServerDataManager/ObserverView.h>

#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Monitors.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/QueueMessage.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SplitOfAnySize.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/VariablePass.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace sdm_internal;

namespace {

std::string_view LabelOf(const ORVX_DataSource& source) {
  const char* const label = source.GetLabel();
  return label != nullptr ? label : "";
}

// Compares the data source with the view, for one update.
class Comparison {
 public:
  Comparison(Snapshot& snapshot, ORVX_DataSource& source)
      : snapshot_(snapshot),
        view_(snapshot.view),
        source_(source),
        item_(snapshot.item),
        wasDirty_(snapshot.view.IsDirty()) {}

  // The order of these comparisons is the order of the messages to clients.
  void Run() {
    CompareVariables();
    CompareRowCount();
    CompareRowsPerImputation();
    CompareFileSpec();
    CompareLabel();
    CompareWeight();
    // A new filter is reported before the trends information, a removed filter after it.
    const int newFilterIndex = source_.GetFilterVarIndex();
    const LocallyUniqueID newFilterID = source_.GetFilterVariableID();
    const bool filterChanged = newFilterID != view_.GetFilterVariableID();
    if (filterChanged && !newFilterID.IsNull()) ReportFilter(newFilterID, newFilterIndex);
    CompareTrends();
    if (filterChanged && newFilterID.IsNull()) ReportFilter(newFilterID, newFilterIndex);
    CompareSplit();
    MonitorMRSets(view_, source_, item_);
    MonitorVariableSets(view_, source_, item_);
    MonitorExtension(view_, source_, /*type=*/0, item_);
    MonitorAttributes(view_, source_, item_, snapshot_.anyChange);
    snapshot_.anyChange = false;
    ReportClientDataReset();
    CompareDirtyFlag();
  }

 private:
  void CompareVariables() {
    if (snapshot_.bulkVarMoves) {
      snapshot_.anyChange = true;
      ReplaceVariables(view_, source_, item_);
      snapshot_.bulkVarMoves = false;
    } else {
      sdm_internal::CompareVariables(view_, source_, item_, snapshot_.anyChange,
                                     snapshot_.resetClientData);
    }
  }

  // Queues no message: the row count is in the message that ReportClientDataReset queues later.
  void CompareRowCount() {
    if (snapshot_.rowCount == source_.RowCount()) return;
    snapshot_.anyChange = true;
    snapshot_.resetClientData = true;
    snapshot_.rowCount = source_.RowCount();
  }

  // Queues a message only at the end of an imputation, when the rows per imputation become 0.
  void CompareRowsPerImputation() {
    const long long rows = source_.RowsPerImputation();
    if (view_.RowsPerImputation() == rows) return;
    if (rows == 0) {
      auto message = std::make_unique<ImputationInfoMsg>();
      message->RowsPerImputation(rows);
      item_.AddNotification(message.release());
    }
    view_.RowsPerImputation(rows);
  }

  // A file specification equal to the suppressed file name is not reported. The view keeps the old
  // file specification, so that the change is reported when the suppression ends.
  void CompareFileSpec() {
    if (std::string_view(view_.GetFileSpec()) == source_.GetFileSpec()) return;
    if (item_.HasSuppressedFileName(source_.GetFileSpec())) return;
    const std::string newSpec = source_.GetFileSpec();
    if (!SystemFile(&source_)) return view_.SetFileSpec(newSpec.c_str());
    std::string newFileName = newSpec;
    Atomically(item_, [&] {
      QueueMessage<FileSpecChangeMsg>(item_, newSpec.c_str(), true);
      view_.SetFileSpec(newSpec.c_str());
      item_.FileName(std::move(newFileName));
    });
  }

  void CompareLabel() {
    if (LabelOf(view_) == LabelOf(source_)) return;
    const std::string newLabel(LabelOf(source_));
    Atomically(item_, [&] {
      QueueMessage<FileLabelChangeMsg>(item_, newLabel.c_str());
      view_.SetLabel(newLabel.empty() ? nullptr : newLabel.c_str());
    });
  }

  void CompareWeight() {
    const int newIndex = source_.GetWeightVarIndex();
    const LocallyUniqueID newID = source_.GetWeightVariableID();
    if (newID == view_.GetWeightVariableID()) return;
    MakeChange([&] {
      QueueMessage<WeightVarMsg>(item_, newID);
      view_.SetWeightVar(newIndex);
    });
  }

  void ReportFilter(LocallyUniqueID newID, int newIndex) {
    MakeChange([&] {
      QueueMessage<FilterVarMsg>(item_, newID);
      view_.SetFilterVar(newIndex);
    });
  }

  void CompareTrends() {
    const ORVX_TrendsInfo& newTrends = *source_.GetTrendsInfo();
    const bool changed = *view_.GetTrendsInfo() != newTrends;
    if (!changed) return;
    MakeChange([&] {
      QueueMessage<TrendsInfoMsg>(item_, &newTrends);
      *view_.GetTrendsInfo() = newTrends;
    });
  }

  void CompareSplit() {
    if (!SplitChanged()) return;
    const unsigned int count = source_.GetNSplitVars();
    const bool separate = source_.GetSplitqSeparate();
    const std::size_t capacity = std::max(kMinSplitCapacity, static_cast<std::size_t>(count));
    std::vector<LocallyUniqueID> ids(capacity);
    std::vector<int> indices(capacity, -1);
    for (unsigned int i = 0; i < count; ++i) {
      ids[i] = source_.GetSplitVarID(i);
      indices[i] = source_.GetSplitVarIndex(i);
    }
    MakeChange([&] {
      QueueMessage<SplitFileMsg>(item_, static_cast<int>(count), ids.data(), separate);
      SetSplitOfAnySize(view_, count, indices.data(), separate);
    });
    snapshot_.splitCount = count;
  }

  bool SplitChanged() const {
    // The view has fewer split variables than last reported if CompareVariables has dropped deleted
    // or moved variables from its split.
    if (view_.GetNSplitVars() != snapshot_.splitCount) return true;
    if (snapshot_.splitCount != source_.GetNSplitVars()) return true;
    if (snapshot_.splitCount == 0) return false;
    if (view_.GetSplitqSeparate() != source_.GetSplitqSeparate()) return true;
    for (unsigned int i = 0; i < snapshot_.splitCount; ++i) {
      if (view_.GetSplitVarID(i) != source_.GetSplitVarID(i)) return true;
    }
    return false;
  }

  void ReportClientDataReset() {
    if (!snapshot_.resetClientData) return;
    QueueMessage<ResetClientDataMsg>(item_, source_.RowCount());
    snapshot_.resetClientData = false;
  }

  // Runs after CompareVariables, which makes the source dirty if a definition changed.
  void CompareDirtyFlag() {
    if (source_.IsDirty() != wasDirty_) QueueMessage<DataSetModifiedMsg>(item_, source_.IsDirty());
    view_.SetDirty(source_.IsDirty());
  }

  template <class Step>
  void MakeChange(const Step& step) {
    Atomically(item_, step);
    snapshot_.anyChange = true;
  }

  // The vectors of CompareSplit have at least this size. With another platform, SplitFileMsg and
  // SetSplit may read 8 entries even if there are fewer split variables.
  static constexpr std::size_t kMinSplitCapacity = 8;

  Snapshot& snapshot_;
  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  const bool wasDirty_;  // the dirty flag of the view before Run
};

}  // namespace

void sdm_internal::UpdateSnapshot(Snapshot& snapshot) {
  ORVX_DataSource* source = snapshot.item.DataSource();
  // If the dataset has no data source, compares the view with an empty source.
  std::optional<DataFreeDataSource> empty;
  if (source == nullptr) source = &empty.emplace();
  Comparison(snapshot, *source).Run();
}

SvrDMObserverView::SvrDMObserverView(SvrDMItem& item) : data_(std::make_unique<Data>(item)) {}

SvrDMObserverView::~SvrDMObserverView() = default;

void SvrDMObserverView::SetBulkVarMoves(bool bulk) {
  data_->bulkVarMoves = bulk;
}

void SvrDMObserverView::Update() {
  UpdateSnapshot(*data_);
}
