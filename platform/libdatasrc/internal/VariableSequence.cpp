#include <libdatasrc/internal/VariableSequence.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

namespace sdm_internal {

namespace {

constexpr int kGroup = 16;  // identifiers that VariableBlock::Find compares together
static_assert(VariableBlock::kLeastCapacity % kGroup == 0);  // Find reads whole groups

Stamp NextStamp() noexcept {
  static std::atomic<Stamp> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

VariableBlock::VariableBlock(VariableSequence* owner, int capacity)
    : sequence(owner), words_(static_cast<std::size_t>(capacity)) {
  variables_.reserve(static_cast<std::size_t>(capacity));
}

// Tests a whole group at a time, because compilers vectorise a loop without an early exit.
int VariableBlock::Find(LocallyUniqueID id) const noexcept {
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

bool VariableBlock::HasUniqueIDs() const noexcept {
  for (int i = 0; i < Size(); ++i) {
    if (Find(ID(i)) != i) return false;
  }
  return true;
}

bool VariableBlock::HasSameIDsAs(const VariableBlock& other) const noexcept {
  return Size() == other.Size() &&
         std::equal(words_.begin(), words_.begin() + Size(), other.words_.begin());
}

void VariableBlock::Copy(const VariableBlock& other) noexcept {
  for (const ORVX_Variable& variable : other.variables_) Append(variable);
  words_ = other.words_;
  stamp = other.stamp;
  CopyHash(other);
}

void VariableBlock::Assign(const VariableBlock& other) noexcept {
  for (std::size_t i = 0; i < variables_.size(); ++i) {
    if (variables_[i].record_ == other.variables_[i].record_) continue;
    ORVX_Variable copy(other.variables_[i]);
    std::swap(variables_[i].record_, copy.record_);
  }
  CopyHash(other);
}

void VariableBlock::Grow() {
  if (Size() < Capacity()) return;
  VariableBlock larger(sequence, 4 * Capacity());
  for (const ORVX_Variable& variable : variables_) larger.Append(variable);
  std::copy(words_.begin(), words_.end(), larger.words_.begin());
  variables_.swap(larger.variables_);
  for (ORVX_Variable& variable : variables_) variable.block_ = this;
  words_.swap(larger.words_);
}

void VariableBlock::Insert(int offset, const ORVX_Variable& variable) noexcept {
  Touch();
  Append(variable);
  ORVX_Variable* variables = variables_.data();
  auto* const record = variables_.back().record_;
  for (int i = Size() - 1; i > offset; --i) variables[i].record_ = variables[i - 1].record_;
  variables[offset].record_ = record;
  std::copy_backward(words_.begin() + offset, words_.begin() + Size() - 1, words_.begin() + Size());
  SetIndexedID(offset, variables[offset].GetID());
}

void VariableBlock::Erase(int first, int last) noexcept {
  Touch();
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

void VariableBlock::Append(const ORVX_Variable& variable) noexcept {
  variables_.push_back(variable);
  variables_.back().block_ = this;
}

void VariableBlock::Touch() noexcept {
  stamp = 0;
  secondHash_.store(kNoHash, std::memory_order_relaxed);
  sequence->stamp_ = 0;
}

VariableListHash VariableBlock::Hash(VariableHash (*hashOf)(const ORVX_Variable&)) const {
  const std::uint64_t second = secondHash_.load(std::memory_order_acquire);
  if (second != kNoHash) {
    const std::uint64_t first = firstHash_.load(std::memory_order_relaxed);
    return VariableListHash(variables_.size(), first, second);
  }
  VariableListHash hash;
  for (const ORVX_Variable& variable : variables_) hash.Append(variable.Hash(hashOf));
  firstHash_.store(hash.First(), std::memory_order_relaxed);
  secondHash_.store(hash.Second(), std::memory_order_release);
  return hash;
}

void VariableBlock::CopyHash(const VariableBlock& other) noexcept {
  const std::uint64_t second = other.secondHash_.load(std::memory_order_acquire);
  firstHash_.store(other.firstHash_.load(std::memory_order_relaxed), std::memory_order_relaxed);
  secondHash_.store(second, std::memory_order_relaxed);
}

void VariableBlock::Rename(const ORVX_Variable& variable, LocallyUniqueID id) {
  sequence->Rename(*this, static_cast<int>(&variable - variables_.data()), id);
}

VariableSequence::VariableSequence(std::function<void(LocallyUniqueID)> onRemove)
    : onRemove_(std::move(onRemove)) {}

int VariableSequence::Find(LocallyUniqueID id) const noexcept {
  if (!index_.HasTable()) return runs_.empty() ? -1 : runs_.front().block->Find(id);
  const VariableBlock* first = nullptr;
  index_.ForEachSlot(id, [this, &first](int slot) {
    const VariableBlock& block = *blocks_[static_cast<std::size_t>(slot)];
    if (first == nullptr || block.number < first->number) first = &block;
  });
  if (first == nullptr) return -1;
  return starts_[static_cast<std::size_t>(first->number)] + first->Find(id);
}

bool VariableSequence::HasUniqueIDs() const noexcept {
  if (index_.HasTable()) return index_.AreUnique(static_cast<std::size_t>(size_));
  return runs_.empty() || runs_.front().block->HasUniqueIDs();
}

VariableListHash VariableSequence::Hash(VariableHash (*hashOf)(const ORVX_Variable&)) const {
  VariableListHash hash;
  for (const Run& run : runs_) hash.Append(run.block->Hash(hashOf));
  return hash;
}

void VariableSequence::Copy(const VariableSequence& other) {
  blocks_.reserve(other.blocks_.size());
  runs_ = other.runs_;
  for (const std::unique_ptr<VariableBlock>& original : other.blocks_) {
    std::unique_ptr<VariableBlock>& block = blocks_.emplace_back();
    if (original == nullptr) continue;
    block = std::make_unique<VariableBlock>(this, original->Capacity());
    block->Copy(*original);
    block->slot = original->slot;
    block->number = original->number;
    runs_[static_cast<std::size_t>(block->number)] = {block->Variables(), block.get()};
  }
  starts_ = other.starts_;
  runAt_ = other.runAt_;
  lag_ = other.lag_;
  lagFrom_ = other.lagFrom_;
  index_ = other.index_;
  size_ = other.size_;
  firstFreeSlot_ = other.firstFreeSlot_;
  stamp_ = other.stamp_;
}

void VariableSequence::Insert(int position, const ORVX_Variable& variable) {
  const ORVX_Variable copy = variable;  // `variable` may be an element of this list
  ReserveTable(size_ + 1);
  ReserveIndex();
  const std::size_t run = RunWithRoom(position);
  VariableBlock& block = *runs_[run].block;
  index_.Add(copy.GetID(), block.slot);
  block.Insert(position - starts_[run], copy);
  Shift(run, 1);
}

void VariableSequence::Delete(int first, int last) noexcept {
  const std::size_t firstRun = RunAt(first);
  std::size_t run = firstRun;
  for (int left = last - first + 1; left > 0; ++run) {
    const int from = run == firstRun ? first - starts_[run] : 0;
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
  blocks_.swap(other.blocks_);
  runs_.swap(other.runs_);
  starts_.swap(other.starts_);
  runAt_.swap(other.runAt_);
  std::swap(lag_, other.lag_);
  std::swap(lagFrom_, other.lagFrom_);
  std::swap(index_, other.index_);
  std::swap(size_, other.size_);
  std::swap(firstFreeSlot_, other.firstFreeSlot_);
  std::swap(stamp_, other.stamp_);
  for (Run& run : runs_) run.block->sequence = this;
  for (Run& run : other.runs_) run.block->sequence = &other;
}

// Returns the index of a run with space for a variable at `position`. Splits a full run; at the end
// of the list, starts a new run instead, so that appending leaves full blocks.
std::size_t VariableSequence::RunWithRoom(int position) {
  if (runs_.empty()) {
    InsertRun(0, VariableBlock::kLeastCapacity);
    return 0;
  }
  std::size_t run = position == size_ ? runs_.size() - 1 : RunAt(position);
  VariableBlock& block = *runs_[run].block;
  if (!block.IsFull()) {
    block.Grow();
    runs_[run].variables = block.Variables();
    return run;
  }
  if (position == size_) {
    InsertRun(runs_.size(), VariableBlock::kCapacity);
    return runs_.size() - 1;
  }
  Split(run);
  return position < starts_[run + 1] ? run : run + 1;
}

// Inserts an empty run before the run at index `run`, or at the end if there is no such run.
void VariableSequence::InsertRun(std::size_t run, int capacity) {
  ReserveSlots(1);
  runs_.reserve(runs_.size() + 1);
  starts_.reserve(starts_.size() + 1);
  VariableBlock& block = AddBlock(std::make_unique<VariableBlock>(this, capacity));
  const int start = run < runs_.size() ? starts_[run] : size_;
  const auto at = static_cast<std::ptrdiff_t>(run);
  runs_.insert(runs_.begin() + at, Run{block.Variables(), &block});
  starts_.insert(starts_.begin() + at, start);
  for (std::size_t i = run; i < runs_.size(); ++i) runs_[i].block->number = static_cast<int>(i);
}

// Makes room for one more pair in the index. Creates the index when the only block has
// kLeastCapacity variables.
void VariableSequence::ReserveIndex() {
  const bool hadTable = index_.HasTable();
  if (!hadTable && size_ < VariableBlock::kLeastCapacity) return;
  index_.Reserve(static_cast<std::size_t>(size_) + 1);
  if (!hadTable) AddToIndex(*runs_.front().block);
}

void VariableSequence::AddToIndex(const VariableBlock& block) noexcept {
  for (int i = 0; i < block.Size(); ++i) index_.Add(block.ID(i), block.slot);
}

// Makes room to add `more` blocks. Doubles the capacity, so that repeated growth takes linear time.
void VariableSequence::ReserveSlots(std::size_t more) {
  const std::size_t slots = blocks_.size() + more;
  if (slots > blocks_.capacity()) blocks_.reserve(2 * slots);
}

VariableBlock& VariableSequence::AddBlock(std::unique_ptr<VariableBlock> block) noexcept {
  const auto free = std::find(blocks_.begin() + firstFreeSlot_, blocks_.end(), nullptr);
  block->slot = static_cast<int>(free - blocks_.begin());
  firstFreeSlot_ = block->slot + 1;
  if (free == blocks_.end()) return *blocks_.emplace_back(std::move(block));
  *free = std::move(block);
  return **free;
}

// Deletes the block. The index and the runs must not refer to it any more.
void VariableSequence::RemoveBlock(VariableBlock& block) noexcept {
  firstFreeSlot_ = std::min(firstFreeSlot_, block.slot);
  blocks_[static_cast<std::size_t>(block.slot)].reset();
}

void VariableSequence::Split(std::size_t run) {
  InsertRun(run + 1, VariableBlock::kCapacity);
  VariableBlock& lower = *runs_[run].block;
  VariableBlock& upper = *runs_[run + 1].block;
  lower.MoveTail(VariableBlock::kCapacity / 2, upper);
  for (int offset = 0; offset < upper.Size(); ++offset) {
    const LocallyUniqueID id = upper.ID(offset);
    if (!lower.Contains(id)) index_.Remove(id, lower.slot);
    index_.Add(id, upper.slot);
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
    index_.Remove(id, upper.slot);
    index_.Add(id, lower.slot);
  }
  upper.MoveTail(0, lower);
  EraseEmptyRuns(run + 1, run + 2);
}

void VariableSequence::EraseInRun(std::size_t run, int first, int last) noexcept {
  VariableBlock& block = *runs_[run].block;
  for (; last >= first; --last) {
    const LocallyUniqueID id = block.ID(last);
    block.Erase(last, last);
    if (!block.Contains(id)) index_.Remove(id, block.slot);
    ReportRemoved(id);
  }
}

void VariableSequence::EraseEmptyRuns(std::size_t first, std::size_t end) noexcept {
  std::size_t kept = first;
  for (std::size_t run = first; run < runs_.size(); ++run) {
    if (run < end && runs_[run].block->Size() == 0) {
      RemoveBlock(*runs_[run].block);
    } else {
      runs_[kept++] = runs_[run];
    }
  }
  runs_.resize(kept);
}

// Recomputes the size of the list, and from `run` on the numbers, the starts and the position
// table. Call it after runs were erased or variables were moved between runs.
void VariableSequence::Renumber(std::size_t run) noexcept {
  starts_.resize(runs_.size());
  int start = run > 0 ? starts_[run - 1] + runs_[run - 1].block->Size() : 0;
  for (std::size_t i = run; i < runs_.size(); ++i) {
    starts_[i] = start;
    runs_[i].block->number = static_cast<int>(i);
    start += runs_[i].block->Size();
  }
  size_ = start;
  lagFrom_ = std::min(lagFrom_, run);
  RebuildTable();
}

// Updates positions after the size of `run` changed by `by`.
void VariableSequence::Shift(std::size_t run, int by) noexcept {
  for (std::size_t i = run + 1; i < starts_.size(); ++i) starts_[i] += by;
  size_ += by;
  lag_ += std::abs(by);
  lagFrom_ = std::min(lagFrom_, run);
  const int covered = static_cast<int>(runAt_.size()) * kStride;
  if (lag_ > kStride || covered < size_) RebuildTable();
}

// Rebuilds the part of the position table that edits since the last rebuild have made inexact.
void VariableSequence::RebuildTable() noexcept {
  const std::size_t run = lagFrom_;
  lag_ = 0;
  lagFrom_ = runs_.size();
  const int start = run < runs_.size() ? starts_[run] : size_;
  int entry = (start + kStride - 1) / kStride;
  runAt_.resize(static_cast<std::size_t>((size_ + kStride - 1) / kStride));
  for (std::size_t i = run; i < runs_.size(); ++i) {
    const int end = i + 1 < runs_.size() ? starts_[i + 1] : size_;
    for (; entry * kStride < end; ++entry) {
      runAt_[static_cast<std::size_t>(entry)] = static_cast<int>(i);
    }
  }
}

// Reserves the position table for a list of `size` variables, so that RebuildTable cannot fail.
// If the table must grow, reserves twice the necessary entries, so that repeated growth takes
// linear time.
void VariableSequence::ReserveTable(int size) {
  const std::size_t entries = static_cast<std::size_t>(size / kStride) + 1;
  if (entries > runAt_.capacity()) runAt_.reserve(2 * entries);
}

void VariableSequence::Rename(VariableBlock& block, int offset, LocallyUniqueID id) {
  ReserveIndex();
  block.Touch();
  const LocallyUniqueID former = block.ID(offset);
  block.SetIndexedID(offset, id);
  if (!block.Contains(former)) index_.Remove(former, block.slot);
  index_.Add(id, block.slot);
  ReportRemoved(former);
}

void VariableSequence::ReportRemoved(LocallyUniqueID id) const {
  if (onRemove_) onRemove_(id);
}

// ---------------------------------------------------------------------------------------------
// Match

void VariableSequence::Match(VariableSequence& other) {
  if (IsKnownToEqual(other)) return;
  if (!HasSameLayoutAs(other)) {
    const std::vector<int> kept = RunsToKeep(other);
    const auto copied = static_cast<std::size_t>(std::count(kept.begin(), kept.end(), -1));
    // If few runs are kept, copying everything is cheaper than updating most of the index.
    if (!index_.HasTable() || 2 * (kept.size() - copied) < std::max(runs_.size(), kept.size())) {
      VariableSequence copy(nullptr);
      copy.Copy(other);
      Swap(copy);
    } else {
      Rebuild(other, kept);
    }
  }
  ShareStamps(other);
}

// Whether corresponding blocks have the same identifiers.
bool VariableSequence::HasSameLayoutAs(const VariableSequence& other) const noexcept {
  return std::equal(runs_.begin(), runs_.end(), other.runs_.begin(), other.runs_.end(),
                    [](const Run& run, const Run& of) {
                      const bool known =
                          run.block->stamp != 0 && run.block->stamp == of.block->stamp;
                      return known || run.block->HasSameIDsAs(*of.block);
                    });
}

// Returns, for each run of `other`, the index of a run of this list with the same identifiers in
// the same order, or -1 if the search, which is not exhaustive, finds none. No run is returned
// twice.
std::vector<int> VariableSequence::RunsToKeep(const VariableSequence& other) const {
  std::vector<std::pair<Stamp, int>> stamped;
  for (const Run& run : runs_) {
    if (run.block->stamp != 0) stamped.emplace_back(run.block->stamp, run.block->number);
  }
  std::sort(stamped.begin(), stamped.end());
  std::vector<bool> taken(runs_.size());
  std::vector<int> kept;
  kept.reserve(other.runs_.size());
  // The run that is compared with a block without a stamp: the run after the last kept run, because
  // most runs of the two lists are in the same order.
  std::size_t next = 0;
  for (const Run& run : other.runs_) {
    const Stamp stamp = run.block->stamp;
    std::size_t found = runs_.size();
    if (stamp != 0) {
      const auto place = std::lower_bound(stamped.begin(), stamped.end(), std::pair(stamp, 0));
      if (place != stamped.end() && place->first == stamp) {
        found = static_cast<std::size_t>(place->second);
      }
    } else if (next < runs_.size() && runs_[next].block->HasSameIDsAs(*run.block)) {
      found = next;
    }
    const bool usable = found < runs_.size() && !taken[found] &&
                        runs_[found].block->Capacity() == run.block->Capacity();
    kept.push_back(usable ? static_cast<int>(found) : -1);
    if (!usable) continue;
    taken[found] = true;
    next = found + 1;
  }
  return kept;
}

// Rebuilds the list with the runs of `other`: moves the runs in `kept` to their new places, and
// copies the other runs. Call ShareStamps next: it updates the variables of the kept runs.
void VariableSequence::Rebuild(const VariableSequence& other, const std::vector<int>& kept) {
  std::vector<std::unique_ptr<VariableBlock>> copies;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i] >= 0) continue;
    const VariableBlock& original = *other.runs_[i].block;
    copies.push_back(std::make_unique<VariableBlock>(this, original.Capacity()));
    copies.back()->Copy(original);
  }
  std::vector<Run> runs(kept.size());
  ReserveSlots(copies.size());
  starts_.reserve(kept.size());
  index_.Reserve(static_cast<std::size_t>(other.size_));
  ReserveTable(other.size_);

  // From here on, nothing fails.
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i] >= 0) runs[i] = std::exchange(runs_[static_cast<std::size_t>(kept[i])], Run{});
  }
  for (const Run& run : runs_) {
    if (run.block == nullptr) continue;
    for (int i = 0; i < run.block->Size(); ++i) index_.Remove(run.block->ID(i), run.block->slot);
    RemoveBlock(*run.block);
  }
  auto copy = copies.begin();
  for (Run& run : runs) {
    if (run.block != nullptr) continue;
    VariableBlock& block = AddBlock(std::move(*copy++));
    AddToIndex(block);
    run = {block.Variables(), &block};
  }
  runs_.swap(runs);
  Renumber(0);
}

// Requires both lists to have the same layout. Copies the variables of `other` and gives both lists
// the same stamps.
void VariableSequence::ShareStamps(VariableSequence& other) noexcept {
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    VariableBlock& mine = *runs_[i].block;
    VariableBlock& theirs = *other.runs_[i].block;
    if (mine.stamp != 0 && mine.stamp == theirs.stamp) continue;
    mine.Assign(theirs);
    if (theirs.stamp == 0) theirs.stamp = NextStamp();
    mine.stamp = theirs.stamp;
  }
  if (other.stamp_ == 0) other.stamp_ = NextStamp();
  stamp_ = other.stamp_;
}

}  // namespace sdm_internal
