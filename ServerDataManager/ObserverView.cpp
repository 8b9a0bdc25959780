#include <ServerDataManager/ObserverView.h>

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/Monitors.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/QueueMessage.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SplitOfAnySize.h>
#include <ServerDataManager/svrdmitem.h>

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

// Copies of the variables from position `first` to the end, in order.
std::vector<ORVX_Variable> VariablesFrom(const ORVX_DataSource& source, int first) {
  std::vector<ORVX_Variable> variables;
  const int count = source.ColumnCount();
  variables.reserve(static_cast<std::size_t>(std::max(0, count - first)));
  for (int index = first; index < count; ++index) variables.push_back(source.GetVariable(index));
  return variables;
}

// Replaces all variables of the view. Queues two messages, even for empty lists.
void ReplaceVariables(ORVX_DataSource& view, const ORVX_DataSource& source, SvrDMItem& item) {
  const auto empty = [&] { view.DeleteVariables(0, view.ColumnCount() - 1); };
  Atomically(item, [&] {
    QueueMessage<DeleteVarsMsg>(item, VariablesFrom(view, 0));
    empty();
  });
  try {
    const std::vector<ORVX_Variable> after = VariablesFrom(source, 0);
    for (const ORVX_Variable& variable : after) view.MakeVariable(variable, nullptr);
    QueueMessage<InsertVarsMsg>(item, after, LocallyUniqueID());
  } catch (...) {
    empty();
    throw;
  }
}

// Compares two variable lists in one forward pass over the source. At each position, edits the view
// until both variables are equal. Lower positions are settled and not searched again.
//
// The messages are those of a linear search of the view from the current position. It is faster
// because it uses the view's index of identifiers, and looks up each view variable in the source
// only once.
//
// Each step is atomic, so that the next comparison can continue after a failed one. Allocations
// come first in a step; deleting variables allocates nothing.
class VariablePass {
 public:
  // Sets `anyChange` when the lists differ, and `resetClientData` when a variable has a new type;
  // never clears them.
  VariablePass(ORVX_DataSource& view, ORVX_DataSource& source, SvrDMItem& item, bool& anyChange,
               bool& resetClientData)
      : view_(view),
        source_(source),
        item_(item),
        anyChange_(anyChange),
        resetClientData_(resetClientData) {}

  void Run() {
    const int sourceCount = source_.ColumnCount();
    for (int index = 0; index < sourceCount; ++index) {
      if (!Settled(index)) Settle(index);
    }
    DeleteFrom(sourceCount);
  }

 private:
  // Through const: the other form of GetVariable counts as a write.
  const ORVX_Variable& InView(int viewIndex) const {
    return static_cast<const ORVX_DataSource&>(view_).GetVariable(viewIndex);
  }
  const ORVX_Variable& InSource(int sourceIndex) const {
    return static_cast<const ORVX_DataSource&>(source_).GetVariable(sourceIndex);
  }

  bool Settled(int index) const {
    return index < view_.ColumnCount() && InView(index) == InSource(index);
  }

  void Settle(int index) {
    const ORVX_Variable newVar = InSource(index);
    const int found = FindInView(newVar.GetID(), index);
    if (found == view_.ColumnCount()) {
      Insert(newVar, index);
    } else if (found > index) {
      BringForward(found, index);
    }
    if (newVar != InView(index)) Modify(newVar, index);
    if (!Settled(index)) {
      InvariantFailed("ServerDataManager/ObserverView", 352, "Update",
                      "view.GetVariable(iNew) == pDs->GetVariable(iNew)");
    }
  }

  // The first view position from `index` on with this identifier, or the view's column count.
  int FindInView(LocallyUniqueID id, int index) const {
    const int viewCount = view_.ColumnCount();
    const int first = view_.FindVarIndex(id);
    if (first < 0) return viewCount;
    if (first >= index) return first;
    // A settled variable is found only if the source contains the identifier twice.
    int viewIndex = index;
    while (viewIndex < viewCount && InView(viewIndex).GetID() != id) ++viewIndex;
    return viewIndex;
  }

  void Insert(const ORVX_Variable& newVar, int index) {
    const LocallyUniqueID anchor =
        index < view_.ColumnCount() ? InView(index).GetID() : LocallyUniqueID();
    MakeChange([&] {
      QueueMessage<InsertVarsMsg>(item_, std::vector<ORVX_Variable>{newVar}, anchor);
      view_.InsertVariable(index, newVar);
    });
    ++checkedEnd_;
  }

  // Deletes the removed variables in between, then moves the variable if a gap remains.
  void BringForward(int found, int index) {
    const int viewIndex = DeleteBetween(index, found);
    if (viewIndex == index) return;
    MakeChange([&] {
      QueueMessage<MoveVarsMsg>(item_, std::vector<int>{viewIndex}, index);
      const ORVX_Variable moved = InView(viewIndex);
      view_.InsertVariable(index, moved);
      view_.DeleteVariables(viewIndex + 1, viewIndex + 1);
    });
  }

  // Deletes the view variables in [index, found) that are not in the source, with one message.
  // Returns the new position of the variable at `found`.
  int DeleteBetween(int index, int found) {
    std::vector<ORVX_Variable> removed;
    std::vector<int> viewIndices;
    for (int viewIndex = std::max(index, checkedEnd_); viewIndex < found; ++viewIndex) {
      const ORVX_Variable& variable = InView(viewIndex);
      if (source_.FindVarIndex(variable.GetID()) >= 0) continue;
      removed.push_back(variable);
      viewIndices.push_back(viewIndex);
    }
    if (!removed.empty()) {
      MakeChange([&] {
        QueueMessage<DeleteVarsMsg>(item_, removed);
        // Backwards, so that the remaining indices stay valid.
        std::for_each(viewIndices.rbegin(), viewIndices.rend(),
                      [this](int viewIndex) { view_.DeleteVariables(viewIndex, viewIndex); });
      });
      found -= static_cast<int>(removed.size());
    }
    checkedEnd_ = std::max(checkedEnd_, found + 1);
    return found;
  }

  void Modify(const ORVX_Variable& newVar, int index) {
    MakeChange([&] {
      QueueMessage<ModifyVarMsg>(item_, newVar);
      if (newVar.GetType() != InView(index).GetType()) resetClientData_ = true;
      // The source, not the view: a changed definition is an unsaved change of the dataset.
      source_.SetDirty(true);
      view_.GetVariable(index) = newVar;
    });
  }

  // Deletes the view variables beyond the end of the source.
  void DeleteFrom(int sourceCount) {
    const int viewCount = view_.ColumnCount();
    if (viewCount <= sourceCount) return;
    MakeChange([&] {
      QueueMessage<DeleteVarsMsg>(item_, VariablesFrom(view_, sourceCount));
      view_.DeleteVariables(sourceCount, viewCount - 1);
    });
  }

  template <class Step>
  void MakeChange(const Step& step) {
    Atomically(item_, step);
    anyChange_ = true;
  }

  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  bool& anyChange_;
  bool& resetClientData_;
  // The view variables from the current position up to this one are all in the source.
  int checkedEnd_ = 0;
};

// The label; "" for none.
std::string_view LabelOf(const ORVX_DataSource& source) {
  const char* const label = source.GetLabel();
  return label != nullptr ? label : "";
}

}  // namespace

// One run of Update.
class SDM_HIDDEN SvrDMObserverView::Comparison {
 public:
  Comparison(Data& data, ORVX_DataSource& source)
      : data_(data),
        view_(data.view),
        source_(source),
        item_(data.item),
        wasDirty_(data.view.IsDirty()) {}

  // In the order of the messages to clients.
  void Run() {
    CompareVariables();
    CompareRowCount();
    CompareRowsPerImputation();
    CompareFileSpec();
    CompareLabel();
    CompareWeight();
    // A new filter is reported before the trends information, the end of a filter after it.
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
    MonitorAttributes(view_, source_, item_, data_.anyChange);
    data_.anyChange = false;
    ReportClientDataReset();
    CompareDirtyFlag();
  }

 private:
  void CompareVariables() {
    if (data_.bulkVarMoves) {
      data_.anyChange = true;
      ReplaceVariables(view_, source_, item_);
      data_.bulkVarMoves = false;
    } else {
      VariablePass(view_, source_, item_, data_.anyChange, data_.resetClientData).Run();
    }
  }

  // The message that resets the client data carries the row count.
  void CompareRowCount() {
    if (data_.rowCount == source_.RowCount()) return;
    data_.anyChange = true;
    data_.resetClientData = true;
    data_.rowCount = source_.RowCount();
  }

  // Only the end of an imputation is reported.
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

  // A suppressed file name is not reported. The view keeps the old name, so that the change is
  // reported when the suppression ends.
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
    data_.splitCount = count;
  }

  bool SplitChanged() const {
    // CompareVariables may have deleted or moved split variables of the view.
    if (view_.GetNSplitVars() != data_.splitCount) return true;
    if (data_.splitCount != source_.GetNSplitVars()) return true;
    if (data_.splitCount == 0) return false;
    if (view_.GetSplitqSeparate() != source_.GetSplitqSeparate()) return true;
    for (unsigned int i = 0; i < data_.splitCount; ++i) {
      if (view_.GetSplitVarID(i) != source_.GetSplitVarID(i)) return true;
    }
    return false;
  }

  void ReportClientDataReset() {
    if (!data_.resetClientData) return;
    QueueMessage<ResetClientDataMsg>(item_, source_.RowCount());
    data_.resetClientData = false;
  }

  // Last, because a changed definition makes the source dirty.
  void CompareDirtyFlag() {
    if (source_.IsDirty() != wasDirty_) QueueMessage<DataSetModifiedMsg>(item_, source_.IsDirty());
    view_.SetDirty(source_.IsDirty());
  }

  template <class Step>
  void MakeChange(const Step& step) {
    Atomically(item_, step);
    data_.anyChange = true;
  }

  // Both arrays of a split hold at least this many entries; only the first `count` are used.
  static constexpr std::size_t kMinSplitCapacity = 8;

  Data& data_;
  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  const bool wasDirty_;  // the dirty flag of the view before this run
};

SvrDMObserverView::SvrDMObserverView(SvrDMItem& item) : data_(std::make_unique<Data>(item)) {}

SvrDMObserverView::~SvrDMObserverView() = default;

void SvrDMObserverView::SetBulkVarMoves(bool bulk) {
  data_->bulkVarMoves = bulk;
}

void SvrDMObserverView::Update() {
  ORVX_DataSource* source = data_->item.DataSource();
  // A dataset without a data source is compared as an empty one.
  std::optional<DataFreeDataSource> empty;
  if (source == nullptr) source = &empty.emplace();
  Comparison(*data_, *source).Run();
}
