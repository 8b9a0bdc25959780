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

// Replaces the view's variables by the source's. Queues two messages, even for empty lists.
void ReplaceVariables(ORVX_DataSource& view, const ORVX_DataSource& source, SvrDMItem& item) {
  const auto empty = [&] { view.DeleteVariables(0, view.ColumnCount() - 1); };
  AsOneStep(item, [&] {
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

// The comparison of two variable lists: one forward pass in the source's order. At each position
// the view is edited until its variable there is the source's; positions below are settled and
// never searched.
//
// It queues what a search of the view from the present position upward would find. What makes it
// fast is how it finds: by the view's index of identifiers, and by asking only once of each
// variable in the view whether the source still has it.
//
// Each step is done completely or not at all, so that the next comparison can continue after one
// that failed. What needs memory comes first in a step; deleting variables needs none.
class VariablePass {
 public:
  // Sets `anyChange` as soon as the lists have differed, and `resetClientData` as soon as a
  // variable has changed its type; leaves them alone otherwise.
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
  // Read without touching: the other form of GetVariable is for assigning.
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

  // The first position in the view, from `index` on, of the variable with this identifier; the
  // view's column count where there is none.
  int FindInView(LocallyUniqueID id, int index) const {
    const int viewCount = view_.ColumnCount();
    const int first = view_.FindVarIndex(id);
    if (first < 0) return viewCount;
    if (first >= index) return first;
    // Only where the source bears the identifier twice is a settled variable found.
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
    ++knownBelow_;
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

  // Deletes the view's variables in [index, found) that the source has nowhere, in one message.
  // Returns where the variable at `found` stands then.
  int DeleteBetween(int index, int found) {
    std::vector<ORVX_Variable> gone;
    std::vector<int> viewIndices;
    for (int viewIndex = std::max(index, knownBelow_); viewIndex < found; ++viewIndex) {
      const ORVX_Variable& variable = InView(viewIndex);
      if (source_.FindVarIndex(variable.GetID()) >= 0) continue;
      gone.push_back(variable);
      viewIndices.push_back(viewIndex);
    }
    if (!gone.empty()) {
      MakeChange([&] {
        QueueMessage<DeleteVarsMsg>(item_, gone);
        // From the back, so that the indices still to come stay right.
        std::for_each(viewIndices.rbegin(), viewIndices.rend(),
                      [this](int viewIndex) { view_.DeleteVariables(viewIndex, viewIndex); });
      });
      found -= static_cast<int>(gone.size());
    }
    knownBelow_ = std::max(knownBelow_, found + 1);
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

  // Whatever the view has beyond the source's variables is gone from the source.
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
    AsOneStep(item_, step);
    anyChange_ = true;
  }

  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  bool& anyChange_;
  bool& resetClientData_;
  // The source has every variable that stands in the view from the present position to below this
  // one.
  int knownBelow_ = 0;
};

// A label that a client can show: "" for none.
std::string_view LabelOf(const ORVX_DataSource& source) {
  const char* const label = source.GetLabel();
  return label != nullptr ? label : "";
}

}  // namespace

// One run of Update: what is compared, with what is read before the comparison begins.
class SDM_HIDDEN SvrDMObserverView::Comparison {
 public:
  Comparison(Data& data, ORVX_DataSource& source)
      : data_(data),
        view_(data.view),
        source_(source),
        item_(data.item),
        wasDirty_(data.view.IsDirty()) {}

  // The order is that in which clients are told.
  void Run() {
    CompareVariables();
    CompareRowCount();
    CompareRowsPerImputation();
    CompareFileSpec();
    CompareLabel();
    CompareWeight();
    // A new filter is told before the trends information, the end of one after it.
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

  // The count itself travels with the reset of the client's data.
  void CompareRowCount() {
    if (data_.rowCount == source_.RowCount()) return;
    data_.anyChange = true;
    data_.resetClientData = true;
    data_.rowCount = source_.RowCount();
  }

  // Only the end of an imputation is told.
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

  // While the new name is the one suppressed on this dataset, the view keeps the old one, so that
  // the change is told once the suppression has ended.
  void CompareFileSpec() {
    if (std::string_view(view_.GetFileSpec()) == source_.GetFileSpec()) return;
    if (item_.HasSuppressedFileName(source_.GetFileSpec())) return;
    const std::string newSpec = source_.GetFileSpec();
    if (!SystemFile(&source_)) return view_.SetFileSpec(newSpec.c_str());
    std::string newFileName = newSpec;
    AsOneStep(item_, [&] {
      QueueMessage<FileSpecChangeMsg>(item_, newSpec.c_str(), true);
      view_.SetFileSpec(newSpec.c_str());
      item_.FileName(std::move(newFileName));
    });
  }

  void CompareLabel() {
    if (LabelOf(view_) == LabelOf(source_)) return;
    const std::string newLabel(LabelOf(source_));
    AsOneStep(item_, [&] {
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
    const std::size_t capacity = std::max(kLeastSplitCapacity, static_cast<std::size_t>(count));
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
    // The variables deleted or moved above may have taken split variables out of the view.
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

  // Read at the end: a changed definition has made the source dirty by now.
  void CompareDirtyFlag() {
    if (source_.IsDirty() != wasDirty_) QueueMessage<DataSetModifiedMsg>(item_, source_.IsDirty());
    view_.SetDirty(source_.IsDirty());
  }

  template <class Step>
  void MakeChange(const Step& step) {
    AsOneStep(item_, step);
    data_.anyChange = true;
  }

  // Both arrays of a split hold at least this many entries; only the first `count` are used.
  static constexpr std::size_t kLeastSplitCapacity = 8;

  Data& data_;
  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  const bool wasDirty_;  // the view, before it was edited
};

SvrDMObserverView::SvrDMObserverView(SvrDMItem& item) : data_(std::make_unique<Data>(item)) {}

SvrDMObserverView::~SvrDMObserverView() = default;

void SvrDMObserverView::SetBulkVarMoves(bool bulk) {
  data_->bulkVarMoves = bulk;
}

void SvrDMObserverView::Update() {
  ORVX_DataSource* source = data_->item.DataSource();
  // A dataset without a data source compares as an empty one.
  std::optional<DataFreeDataSource> empty;
  if (source == nullptr) source = &empty.emplace();
  Comparison(*data_, *source).Run();
}
