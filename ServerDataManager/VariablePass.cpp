#include <ServerDataManager/VariablePass.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/QueueMessage.h>
#include <ServerDataManager/svrdmitem.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace sdm_internal {

namespace {

// Stops the process if `settled` is false. The printed source, line and expression are constants,
// so that the printed text stays the same when this code moves.
void CheckSettled(bool settled) {
  if (settled) return;
  InvariantFailed("ServerDataManager/ObserverView", 352, "Update",
                  "view.GetVariable(iNew) == pDs->GetVariable(iNew)");
}

std::vector<ORVX_Variable> VariablesFrom(const ORVX_DataSource& source, int first) {
  std::vector<ORVX_Variable> variables;
  const int count = source.ColumnCount();
  variables.reserve(static_cast<std::size_t>(std::max(0, count - first)));
  for (int index = first; index < count; ++index) variables.push_back(source.GetVariable(index));
  return variables;
}

// Compares two variable lists in one forward pass over the source. At each position, edits the view
// until both lists have equal variables there: the position is then settled. Searches of the view
// skip settled positions.
//
// Finds variables through the view's index of identifiers, with the same result as a linear search
// of the view from the current position on. Looks up each view variable in the source at most once.
//
// An edit of the view and its message are made together or not at all, so that after a failure the
// next comparison finds the remaining differences. For that, each edit allocates before it changes
// the view; deleting variables allocates nothing.
class StepwisePass {
 public:
  // Run sets `anyChange` when the lists differ, and `resetClientData` when a variable has a new
  // type; it never clears these flags.
  StepwisePass(ORVX_DataSource& view, ORVX_DataSource& source, SvrDMItem& item, bool& anyChange,
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
  // Calls the const form of GetVariable, because the non-const form counts as a write
  // (ORVX_DataSource.h).
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
    CheckSettled(Settled(index));
  }

  // The first view position from `index` on with this identifier, or the view's column count.
  int FindInView(LocallyUniqueID id, int index) const {
    const int viewCount = view_.ColumnCount();
    const int first = view_.FindVarIndex(id);
    if (first < 0) return viewCount;
    if (first >= index) return first;
    // The view's first variable with this identifier is before `index`, so it is settled: the
    // source has the identifier there, and again at `index`. Searches the view from `index` on for
    // another variable with this identifier.
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

  // Brings the variable at `found` to `index`. First deletes the variables in between that the
  // source does not have; then moves the variable if it is not at `index` yet.
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
        // Deletes backwards, so that the remaining indices stay valid.
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
      // Sets the dirty flag of the source, not of the view: a changed definition is an unsaved
      // change.
      source_.SetDirty(true);
      view_.GetVariable(index) = newVar;
    });
  }

  // Deletes the view variables from position `sourceCount` to the end.
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
  // All view variables from the current position up to, but not including, the position
  // `checkedEnd_` are in the source.
  int checkedEnd_ = 0;
};

// A set of positions in a list: one bit per position, in words of 64 bits, and a Fenwick tree of
// the number of set bits in each word (Fenwick, "A New Data Structure for Cumulative Frequency
// Tables", 1994). Empty sets allocate nothing.
class PositionSet {
 public:
  // An empty set, for a list of `size` variables.
  explicit PositionSet(int size) : words_(static_cast<std::size_t>(size) / 64 + 1) {}

  bool Contains(int position) const {
    return !bits_.empty() && (bits_[Word(position)] >> Bit(position) & 1) != 0;
  }

  // Adds a position, which must not be in the set yet.
  void Add(int position) {
    if (bits_.empty()) {
      sums_.resize(words_ + 1);
      bits_.resize(words_);
    }
    bits_[Word(position)] |= std::uint64_t{1} << Bit(position);
    for (std::size_t i = Word(position) + 1; i <= words_; i += i & (~i + 1)) ++sums_[i];
  }

  // Returns the number of positions in [first, end) that are in the set.
  int Count(int first, int end) const {
    return bits_.empty() ? 0 : CountBelow(end) - CountBelow(first);
  }

 private:
  static std::size_t Word(int position) { return static_cast<std::size_t>(position) / 64; }
  static int Bit(int position) { return position % 64; }

  int CountBelow(int position) const {
    const std::uint64_t below = (std::uint64_t{1} << Bit(position)) - 1;
    int count = std::popcount(bits_[Word(position)] & below);
    for (std::size_t i = Word(position); i > 0; i -= i & (~i + 1)) count += sums_[i];
    return count;
  }

  const std::size_t words_;
  std::vector<std::uint64_t> bits_;
  std::vector<int> sums_;  // the Fenwick tree, numbered from 1
};

// Makes the same comparison as StepwisePass, for data sources that stamp their blocks and have
// unique identifiers. It skips blocks with equal stamps. It does not change the view until all
// messages are queued; then the view takes over the source's variables in one step.
//
// Messages give positions in the edited view: the view as StepwisePass would have edited it so far.
// When `index` variables are settled, the edited view consists of the settled variables, followed
// by the variables of the original view from position `next_` on, except the moved and deleted
// variables (`taken_`). So positions are found by counting.
template <class Source>
class StampedPass {
 public:
  StampedPass(Source& view, Source& source, SvrDMItem& item)
      : view_(view), source_(source), item_(item), taken_(view.ColumnCount()) {}

  void Run(bool& anyChange, bool& resetClientData) {
    if (view_.VariablesAreKnownToEqual(source_)) return;
    Atomically(item_, [this] {
      QueueMessages();
      view_.MatchVariables(source_);
    });
    // StepwisePass moves a variable by inserting a copy and deleting the original, which drops the
    // variable from weight, filter and split. Both passes must have the same result.
    for (const LocallyUniqueID id : moved_) view_.DropUses(id);
    // Sets the dirty flag of the source, not of the view: a changed definition is an unsaved
    // change.
    if (modified_) source_.SetDirty(true);
    if (typeChanged_) resetClientData = true;
    if (changed_) anyChange = true;
    for (const int index : settled_) {
      CheckSettled(std::as_const(view_).GetVariable(index) ==
                   std::as_const(source_).GetVariable(index));
    }
  }

 private:
  // InView keeps the block of the last call, because successive positions are mostly in the same
  // block. Call it only before MatchVariables, which invalidates the block.
  const ORVX_Variable& InView(int position) {
    const auto offset = static_cast<std::size_t>(position - viewBlock_.first);
    if (offset < viewBlock_.variables.size()) return viewBlock_.variables[offset];
    viewBlock_ = view_.BlockAt(position);
    return viewBlock_.variables[static_cast<std::size_t>(position - viewBlock_.first)];
  }

  void QueueMessages() {
    for (int first = 0; first < source_.ColumnCount();) {
      const auto block = source_.BlockAt(first);
      if (!SkipEqual(block.stamp, static_cast<int>(block.variables.size()))) {
        int index = first;
        for (const ORVX_Variable& newVar : block.variables) Settle(newVar, index++);
      }
      first += static_cast<int>(block.variables.size());
    }
    DeleteRest();
  }

  // Skips the view's block at `next_` if its stamp is `stamp`, the stamp of the current source
  // block; returns whether it did. A stamp of 0 never matches, because it says nothing about the
  // variables. No variable of the skipped block is in `taken_`: the current source block has them
  // all, so none was deleted, and identifiers are unique, so none is in an earlier source block.
  bool SkipEqual(std::uint64_t stamp, int size) {
    if (stamp == 0 || !SkipTaken()) return false;
    const auto block = view_.BlockAt(next_);
    if (block.first != next_ || block.stamp != stamp) return false;
    next_ += size;
    return true;
  }

  // Advances `next_` to a variable that is not taken. Returns false at the end of the view.
  bool SkipTaken() {
    while (next_ < viewCount_ && taken_.Contains(next_)) ++next_;
    return next_ < viewCount_;
  }

  void Settle(const ORVX_Variable& newVar, int index) {
    const bool atEnd = !SkipTaken();
    if (!atEnd && InView(next_).GetID() == newVar.GetID()) {
      Compare(newVar, next_++, index);
      return;
    }
    const int found = view_.FindVarIndex(newVar.GetID());
    if (found < 0) {
      Queue<InsertVarsMsg>(index, std::vector<ORVX_Variable>{newVar},
                           atEnd ? LocallyUniqueID() : InView(next_).GetID());
      return;
    }
    BringForward(found, index);
    Compare(newVar, found, index);
  }

  // Brings the variable at view position `found` to `index`: takes it and queues messages. First
  // deletes the variables in between that the source does not have; then moves the variable if
  // other variables remain in between.
  void BringForward(int found, int index) {
    DeleteBetween(found);
    SkipTaken();
    const int distance = found - next_ - taken_.Count(next_, found);
    Take(found);
    if (distance == 0) return;
    Queue<MoveVarsMsg>(index, std::vector<int>{index + distance}, index);
    moved_.push_back(InView(found).GetID());
  }

  // Deletes the view variables in [next_, found) that the source does not have: takes them, and
  // queues one message if there are any.
  void DeleteBetween(int found) {
    std::vector<ORVX_Variable> removed;
    for (int position = std::max(next_, checkedEnd_); position < found;) {
      const auto block = view_.BlockAt(position);
      const int end = std::min(found, block.first + static_cast<int>(block.variables.size()));
      if (!IsInSource(block.stamp)) TakeRemoved(block, position, end, removed);
      position = end;
    }
    checkedEnd_ = std::max(checkedEnd_, found + 1);
    if (!removed.empty()) Queue<DeleteVarsMsg>(-1, std::move(removed));
  }

  template <class Block>
  void TakeRemoved(const Block& block, int position, int end, std::vector<ORVX_Variable>& removed) {
    for (; position < end; ++position) {
      if (taken_.Contains(position)) continue;
      const ORVX_Variable& variable =
          block.variables[static_cast<std::size_t>(position - block.first)];
      if (source_.ContainsVariable(variable.GetID())) continue;
      removed.push_back(variable);
      Take(position);
    }
  }

  // Whether the source has a block with this stamp.
  bool IsInSource(std::uint64_t stamp) {
    if (stamp == 0) return false;
    if (sourceStamps_.empty()) CollectSourceStamps();
    return std::binary_search(sourceStamps_.begin(), sourceStamps_.end(), stamp);
  }

  void CollectSourceStamps() {
    for (int first = 0; first < source_.ColumnCount();) {
      const auto block = source_.BlockAt(first);
      sourceStamps_.push_back(block.stamp);
      first += static_cast<int>(block.variables.size());
    }
    std::sort(sourceStamps_.begin(), sourceStamps_.end());
  }

  void Take(int position) {
    if (position == next_) {
      ++next_;
    } else {
      taken_.Add(position);
    }
  }

  // `newVar` is at position `index` of the source; the variable with its identifier is at position
  // `oldPosition` of the view.
  void Compare(const ORVX_Variable& newVar, int oldPosition, int index) {
    const ORVX_Variable& oldVar = InView(oldPosition);
    if (newVar == oldVar) return;
    Queue<ModifyVarMsg>(index, newVar);
    modified_ = true;
    if (newVar.GetType() != oldVar.GetType()) typeChanged_ = true;
  }

  // Called after the last variable of the source. Queues one message that deletes the rest of the
  // view: the variables from `next_` on, except the variables in `taken_`.
  void DeleteRest() {
    std::vector<ORVX_Variable> removed;
    removed.reserve(static_cast<std::size_t>(viewCount_ - next_ - taken_.Count(next_, viewCount_)));
    for (; SkipTaken(); ++next_) removed.push_back(InView(next_));
    if (!removed.empty()) Queue<DeleteVarsMsg>(-1, std::move(removed));
  }

  // Queues a message about the variable at position `index` of the source; `index` is -1 for a
  // message about deleted variables.
  template <class Message, class... Arguments>
  void Queue(int index, Arguments&&... arguments) {
    QueueMessage<Message>(item_, std::forward<Arguments>(arguments)...);
    changed_ = true;
    if (index >= 0) settled_.push_back(index);
  }

  Source& view_;
  Source& source_;
  SvrDMItem& item_;
  const int viewCount_ = view_.ColumnCount();
  decltype(std::declval<Source&>().BlockAt(0)) viewBlock_{};
  int next_ = 0;
  PositionSet taken_;
  // All view variables from `next_` up to, but not including, the position `checkedEnd_` are in the
  // source or in `taken_`.
  int checkedEnd_ = 0;
  std::vector<std::uint64_t> sourceStamps_;  // sorted; empty until needed
  std::vector<LocallyUniqueID> moved_;
  std::vector<int> settled_;  // the source positions of variables with a message
  bool changed_ = false;
  bool modified_ = false;
  bool typeChanged_ = false;
};

// Whether data sources stamp their blocks. Another libdatasrc may lack these operations
// (docs/replacing-the-platform.md), so the classes that use them are templates.
template <class Source>
concept HasSnapshotOperations = requires(Source& view, Source& source, LocallyUniqueID id) {
  view.MatchVariables(source);
  view.VariablesAreKnownToEqual(source);
  view.BlockAt(0).stamp;
  view.HasUniqueIDs();
  view.ContainsVariable(id);
  view.DropUses(id);
};

// Runs StampedPass if the data sources stamp their blocks and identifiers are unique. Otherwise, or
// if StampedPass throws, runs StepwisePass.
template <class Source>
void Compare(Source& view, Source& source, SvrDMItem& item, bool& anyChange,
             bool& resetClientData) {
  if constexpr (HasSnapshotOperations<Source>) {
    if (view.HasUniqueIDs() && source.HasUniqueIDs()) {
      try {
        return StampedPass<Source>(view, source, item).Run(anyChange, resetClientData);
      } catch (...) {
        // The stamped pass has changed nothing. The stepwise pass below keeps its finished steps
        // even if it also fails.
      }
    }
  }
  StepwisePass(view, source, item, anyChange, resetClientData).Run();
}

}  // namespace

void CompareVariables(ORVX_DataSource& view, ORVX_DataSource& source, SvrDMItem& item,
                      bool& anyChange, bool& resetClientData) {
  Compare(view, source, item, anyChange, resetClientData);
}

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

}  // namespace sdm_internal
