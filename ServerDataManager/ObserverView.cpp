#include <ServerDataManager/ObserverView.h>

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <ServerDataManager/Inequality.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/svrdmitem.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

template <class Message, class... Arguments>
void Queue(SvrDMItem& item, const Arguments&... arguments) {
  const SvrDMItem& facts = item;
  item.AddNotification(new Message(0, facts.ID(), facts.CaseSequence(), arguments...));
}

// Copies of the variables from position `first` to the end, in order.
std::vector<ORVX_Variable> VariablesFrom(const ORVX_DataSource& source, int first) {
  std::vector<ORVX_Variable> variables;
  const int count = source.ColumnCount();
  variables.reserve(static_cast<std::size_t>(std::max(0, count - first)));
  for (int index = first; index < count; ++index) variables.push_back(source.GetVariable(index));
  return variables;
}

// Replaces the view's variables by the source's, told in two messages even where there are none.
void ReplaceVariables(ORVX_DataSource& view, const ORVX_DataSource& source, SvrDMItem& item) {
  const std::vector<ORVX_Variable> before = VariablesFrom(view, 0);
  Queue<DeleteVarsMsg>(item, before);
  view.DeleteVariables(0, view.ColumnCount() - 1);

  const std::vector<ORVX_Variable> after = VariablesFrom(source, 0);
  for (const ORVX_Variable& variable : after) view.MakeVariable(variable, nullptr);
  Queue<InsertVarsMsg>(item, after, LocallyUniqueID());
}

// The comparison of two variable lists: one forward pass in the source's order. At each position
// the view is edited until its variable there is the source's; positions below are settled and
// never searched.
//
// It queues what a search of the view from the present position upward would find. What makes it
// fast is how it finds: by the view's index of identifiers, and by asking only once of each
// variable in the view whether the source still has it.
class VariablePass {
 public:
  // Sets `resetClientData` as soon as a variable has changed its type, and leaves it alone
  // otherwise.
  VariablePass(ORVX_DataSource& view, ORVX_DataSource& source, SvrDMItem& item,
               bool& resetClientData)
      : view_(view), source_(source), item_(item), resetClientData_(resetClientData) {}

  // Returns whether the lists differed.
  bool Run() {
    const int sourceCount = source_.ColumnCount();
    for (int index = 0; index < sourceCount; ++index) {
      if (!Settled(index)) Settle(index);
    }
    DeleteFrom(sourceCount);
    return anyChange_;
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
    anyChange_ = true;
    const LocallyUniqueID anchor =
        index < view_.ColumnCount() ? InView(index).GetID() : LocallyUniqueID();
    Queue<InsertVarsMsg>(item_, std::vector<ORVX_Variable>{newVar}, anchor);
    view_.InsertVariable(index, newVar);
    ++knownBelow_;
  }

  // Deletes what stands between and is gone from the source; what is left of the distance is a
  // move.
  void BringForward(int found, int index) {
    anyChange_ = true;
    const int viewIndex = DeleteBetween(index, found);
    if (viewIndex == index) return;
    Queue<MoveVarsMsg>(item_, std::vector<int>{viewIndex}, index);
    const ORVX_Variable moved = InView(viewIndex);
    view_.DeleteVariables(viewIndex, viewIndex);
    view_.InsertVariable(index, moved);
  }

  // Deletes the view's variables in [index, found) that the source has nowhere, in one message.
  // Returns where the variable at `found` stands then.
  int DeleteBetween(int index, int found) {
    std::vector<ORVX_Variable> gone;
    for (int viewIndex = std::max(index, knownBelow_); viewIndex < found;) {
      const ORVX_Variable& variable = InView(viewIndex);
      if (source_.FindVarIndex(variable.GetID()) >= 0) {
        ++viewIndex;
        continue;
      }
      gone.push_back(variable);
      view_.DeleteVariables(viewIndex, viewIndex);
      --found;
    }
    if (!gone.empty()) Queue<DeleteVarsMsg>(item_, gone);
    knownBelow_ = std::max(knownBelow_, found + 1);
    return found;
  }

  void Modify(const ORVX_Variable& newVar, int index) {
    anyChange_ = true;
    Queue<ModifyVarMsg>(item_, newVar);
    if (newVar.GetType() != InView(index).GetType()) resetClientData_ = true;
    // The source, not the view: a changed definition is an unsaved change of the dataset.
    source_.SetDirty(true);
    view_.GetVariable(index) = newVar;
  }

  // Whatever the view has beyond the source's variables is gone from the source.
  void DeleteFrom(int sourceCount) {
    const int viewCount = view_.ColumnCount();
    if (viewCount <= sourceCount) return;
    anyChange_ = true;
    const std::vector<ORVX_Variable> gone = VariablesFrom(view_, sourceCount);
    view_.DeleteVariables(sourceCount, viewCount - 1);
    Queue<DeleteVarsMsg>(item_, gone);
  }

  ORVX_DataSource& view_;
  ORVX_DataSource& source_;
  SvrDMItem& item_;
  bool& resetClientData_;
  bool anyChange_ = false;
  // The source has every variable that stands in the view from the present position to below this
  // one.
  int knownBelow_ = 0;
};

}  // namespace

SvrDMObserverView::SvrDMObserverView(SvrDMItem& item) : data_(std::make_unique<Data>(item)) {}

SvrDMObserverView::~SvrDMObserverView() = default;

void SvrDMObserverView::SetBulkVarMoves(bool bulk) {
  data_->bulkVarMoves = bulk;
}

void SvrDMObserverView::Update() {
  Data& data = *data_;

  // A dataset without a data source compares as one without variables.
  std::optional<DataFreeDataSource> empty;
  ORVX_DataSource* source = data.item.DataSource();
  if (source == nullptr) source = &empty.emplace();

  if (data.bulkVarMoves) {
    ReplaceVariables(data.view, *source, data.item);
    data.bulkVarMoves = false;
  } else {
    VariablePass(data.view, *source, data.item, data.resetClientData).Run();
  }
}
