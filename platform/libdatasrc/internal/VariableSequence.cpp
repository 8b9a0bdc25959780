// The blocked list of variables, and the updates of its index and position table.

#include <libdatasrc/internal/VariableSequence.h>

#include <algorithm>

namespace sdm_internal {

VariableBlock::VariableBlock(VariableSequence* owner) : sequence(owner) {
  variables_.reserve(kCapacity);
}

// Tests a whole group at a time: a loop without an early exit is vectorised.
int VariableBlock::Find(LocallyUniqueID id) const noexcept {
  constexpr int kGroup = 16;
  static_assert(kCapacity % kGroup == 0);
  const unsigned int word = id.Word();
  const unsigned int* const words = words_.data();
  for (int group = 0; group < Size(); group += kGroup) {
    unsigned int hits = 0;
    for (int i = 0; i < kGroup; ++i) hits |= static_cast<unsigned int>(words[group + i] == word);
    if (hits == 0) continue;
    const unsigned int* const end = words + std::min(group + kGroup, Size());
    const unsigned int* const found = std::find(words + group, end, word);
    if (found != end) return static_cast<int>(found - words);
  }
  return -1;
}

void VariableBlock::Copy(const VariableBlock& other) noexcept {
  for (const ORVX_Variable& variable : other.variables_) {
    variables_.push_back(variable);
    variables_.back().block_ = this;
  }
  words_ = other.words_;
}

void VariableBlock::Insert(int offset, const ORVX_Variable& variable) noexcept {
  variables_.push_back(variable);
  variables_.back().block_ = this;
  ORVX_Variable* variables = variables_.data();
  auto* const record = variables_.back().record_;
  for (int i = Size() - 1; i > offset; --i) variables[i].record_ = variables[i - 1].record_;
  variables[offset].record_ = record;
  std::copy_backward(words_.begin() + offset, words_.begin() + Size() - 1, words_.begin() + Size());
  SetIndexedID(offset, variables[offset].GetID());
}

void VariableBlock::Erase(int first, int last) noexcept {
  ORVX_Variable* variables = variables_.data();
  const int count = last - first + 1;
  for (int i = last + 1; i < Size(); ++i)
    std::swap(variables[i - count].record_, variables[i].record_);
  std::copy(words_.begin() + last + 1, words_.begin() + Size(), words_.begin() + first);
  for (int i = 0; i < count; ++i) variables_.pop_back();
}

void VariableBlock::MoveTail(int offset, VariableBlock& to) noexcept {
  for (int i = offset; i < Size(); ++i)
    to.Insert(to.Size(), variables_[static_cast<std::size_t>(i)]);
  Erase(offset, Size() - 1);
}

void VariableBlock::Rename(const ORVX_Variable& variable, LocallyUniqueID id) {
  sequence->Rename(*this, static_cast<int>(&variable - variables_.data()), id);
}

VariableSequence::VariableSequence(std::function<void(LocallyUniqueID)> onRemove)
    : onRemove_(std::move(onRemove)) {}

int VariableSequence::Find(LocallyUniqueID id) const noexcept {
  const VariableBlock* first = nullptr;
  index_.ForEachBlock(id, [&first](const VariableBlock* block) {
    if (first == nullptr || block->number < first->number) first = block;
  });
  if (first == nullptr) return -1;
  return runs_[static_cast<std::size_t>(first->number)].start + first->Find(id);
}

void VariableSequence::Copy(const VariableSequence& other) {
  runs_.reserve(other.runs_.size());
  for (const Run& run : other.runs_) {
    auto block = std::make_unique<VariableBlock>(this);
    block->Copy(*run.block);
    block->number = run.block->number;
    ORVX_Variable* const variables = block->Variables();
    runs_.push_back(Run{run.start, variables, std::move(block)});
  }
  index_.Copy(other.index_, [this](const VariableBlock& block) {
    return runs_[static_cast<std::size_t>(block.number)].block.get();
  });
  runAt_ = other.runAt_;
  size_ = other.size_;
}

void VariableSequence::Insert(int position, const ORVX_Variable& variable) {
  const ORVX_Variable copy = variable;  // `variable` may be an element of this list
  ReserveTable(size_ + 1);
  index_.Reserve(static_cast<std::size_t>(size_) + 1);
  const std::size_t run = RunWithRoom(position);
  VariableBlock& block = *runs_[run].block;
  if (!block.Contains(copy.GetID())) index_.Add(copy.GetID(), &block);
  block.Insert(position - runs_[run].start, copy);
  Shift(run, 1);
}

void VariableSequence::Delete(int first, int last) noexcept {
  const std::size_t firstRun = RunOf(first);
  std::size_t run = firstRun;
  for (int left = last - first + 1; left > 0; ++run) {
    const int from = run == firstRun ? first - runs_[run].start : 0;
    const int to = std::min(from + left, runs_[run].block->Size()) - 1;
    EraseInRun(run, from, to);
    left -= to - from + 1;
  }
  if (run == firstRun + 1 && runs_[firstRun].block->Size() >= kSmallSize) {
    return Shift(firstRun, first - last - 1);
  }
  EraseEmptyRuns(firstRun, run);
  MergeWithNext(firstRun);
  if (firstRun > 0) MergeWithNext(firstRun - 1);
  Renumber(firstRun > 0 ? firstRun - 1 : 0);
}

void VariableSequence::Swap(VariableSequence& other) noexcept {
  runs_.swap(other.runs_);
  runAt_.swap(other.runAt_);
  std::swap(index_, other.index_);
  std::swap(size_, other.size_);
  for (Run& run : runs_) run.block->sequence = this;
  for (Run& run : other.runs_) run.block->sequence = &other;
}

// For the end position, the last run.
std::size_t VariableSequence::RunOf(int position) const noexcept {
  const auto after = std::upper_bound(runs_.begin(), runs_.end(), position,
                                      [](int at, const Run& run) { return at < run.start; });
  return static_cast<std::size_t>(after - runs_.begin()) - 1;
}

// A run with space for a variable at `position`. Splits a full run; at the end of the list it
// starts a new one instead, so that appending leaves full blocks.
std::size_t VariableSequence::RunWithRoom(int position) {
  if (runs_.empty()) return InsertRun(0);
  const std::size_t run = RunOf(position);
  if (!runs_[run].block->IsFull()) return run;
  if (position == size_) return InsertRun(runs_.size());
  Split(run);
  return RunOf(position);
}

std::size_t VariableSequence::InsertRun(std::size_t run) {
  auto block = std::make_unique<VariableBlock>(this);
  ORVX_Variable* const variables = block->Variables();
  const int start = run < runs_.size() ? runs_[run].start : size_;
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(run),
               Run{start, variables, std::move(block)});
  for (std::size_t i = run; i < runs_.size(); ++i) runs_[i].block->number = static_cast<int>(i);
  return run;
}

void VariableSequence::Split(std::size_t run) {
  InsertRun(run + 1);
  VariableBlock& lower = *runs_[run].block;
  VariableBlock& upper = *runs_[run + 1].block;
  lower.MoveTail(VariableBlock::kCapacity / 2, upper);
  for (int offset = 0; offset < upper.Size(); ++offset) {
    const LocallyUniqueID id = upper.ID(offset);
    if (upper.Find(id) != offset) continue;
    if (lower.Contains(id)) {
      index_.Add(id, &upper);
    } else {
      index_.Replace(id, &lower, &upper);
    }
  }
  Renumber(run);
}

void VariableSequence::MergeWithNext(std::size_t run) noexcept {
  if (run + 1 >= runs_.size()) return;
  VariableBlock& lower = *runs_[run].block;
  VariableBlock& upper = *runs_[run + 1].block;
  if (lower.Size() + upper.Size() > kMergedSize) return;
  for (int offset = 0; offset < upper.Size(); ++offset) {
    const LocallyUniqueID id = upper.ID(offset);
    if (upper.Find(id) != offset) continue;
    if (lower.Contains(id)) {
      index_.Remove(id, &upper);
    } else {
      index_.Replace(id, &upper, &lower);
    }
  }
  upper.MoveTail(0, lower);
  runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(run) + 1);
}

void VariableSequence::EraseInRun(std::size_t run, int first, int last) noexcept {
  VariableBlock& block = *runs_[run].block;
  for (; last >= first; --last) {
    const LocallyUniqueID id = block.ID(last);
    block.Erase(last, last);
    if (!block.Contains(id)) index_.Remove(id, &block);
    ReportRemoved(id);
  }
}

void VariableSequence::EraseEmptyRuns(std::size_t first, std::size_t end) noexcept {
  const auto from = runs_.begin() + static_cast<std::ptrdiff_t>(first);
  const auto to = runs_.begin() + static_cast<std::ptrdiff_t>(end);
  runs_.erase(std::remove_if(from, to, [](const Run& run) { return run.block->Size() == 0; }), to);
}

// Recomputes numbers, starts and table entries from `run` on, and the size, after runs were erased
// or exchanged variables.
void VariableSequence::Renumber(std::size_t run) noexcept {
  int start = run > 0 ? runs_[run - 1].start + runs_[run - 1].block->Size() : 0;
  for (std::size_t i = run; i < runs_.size(); ++i) {
    runs_[i].start = start;
    runs_[i].block->number = static_cast<int>(i);
    start += runs_[i].block->Size();
  }
  size_ = start;
  RebuildTable(run);
}

// Updates positions after the size of `run` changed by `by`.
void VariableSequence::Shift(std::size_t run, int by) noexcept {
  for (std::size_t i = run + 1; i < runs_.size(); ++i) runs_[i].start += by;
  size_ += by;
  RebuildTable(run);
}

// Rebuilds the position table from the first position of `run` on.
void VariableSequence::RebuildTable(std::size_t run) noexcept {
  const int start = run < runs_.size() ? runs_[run].start : size_;
  int entry = (start + kStride - 1) / kStride;
  runAt_.resize(static_cast<std::size_t>((size_ + kStride - 1) / kStride));
  for (std::size_t i = run; i < runs_.size(); ++i) {
    const int end = i + 1 < runs_.size() ? runs_[i + 1].start : size_;
    for (; entry * kStride < end; ++entry) {
      runAt_[static_cast<std::size_t>(entry)] = static_cast<int>(i);
    }
  }
}

// Reserves the table for a list of `size` variables, by doubling: Renumber must not fail.
void VariableSequence::ReserveTable(int size) {
  const std::size_t entries = static_cast<std::size_t>(size / kStride) + 1;
  if (entries > runAt_.capacity()) runAt_.reserve(2 * entries);
}

void VariableSequence::Rename(VariableBlock& block, int offset, LocallyUniqueID id) {
  index_.Reserve(static_cast<std::size_t>(size_) + 1);
  const LocallyUniqueID former = block.ID(offset);
  const bool isNew = !block.Contains(id);
  block.SetIndexedID(offset, id);
  if (!block.Contains(former)) index_.Remove(former, &block);
  if (isNew) index_.Add(id, &block);
  ReportRemoved(former);
}

void VariableSequence::ReportRemoved(LocallyUniqueID id) const {
  if (onRemove_) onRemove_(id);
}

}  // namespace sdm_internal
