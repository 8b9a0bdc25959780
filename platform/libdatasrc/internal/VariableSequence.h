// VariableSequence: the list of variables of a dictionary.
//
// Variables are stored in blocks of at most 256 variables; each block has an array of the
// identifiers of its variables. A list that outgrows the smallest block gets an index, which maps
// an identifier to the blocks that contain it. An edit shifts variables within one block and
// updates the start positions of the later blocks. The position table, with an entry for every
// 256th position, finds the block of a position in a few steps.
//
// Two blocks, or two lists, with the same stamp have equal variables in the same order; 0 means no
// stamp. A change of a block clears the stamps of the block and of its list. Only Match assigns new
// stamps.

#ifndef LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_
#define LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_

#include <libdatasrc/internal/IdentifierIndex.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/VariableListHash.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace sdm_internal {

class VariableSequence;

using Stamp = std::uint64_t;  // 0: none

// Adjacent variables of one sequence. Each variable points back to its block.
class VariableBlock {
 public:
  static constexpr int kLeastCapacity = 16;
  static constexpr int kCapacity = 256;

  // Creates an empty block with room for `capacity` variables: 16, 64 or 256.
  VariableBlock(VariableSequence* sequence, int capacity);
  VariableBlock(const VariableBlock&) = delete;
  VariableBlock& operator=(const VariableBlock&) = delete;

  int Size() const noexcept { return static_cast<int>(variables_.size()); }
  int Capacity() const noexcept { return static_cast<int>(words_.size()); }
  bool IsFull() const noexcept { return Size() == kCapacity; }

  // The address of the first variable; changes only when the block grows.
  ORVX_Variable* Variables() noexcept { return variables_.data(); }
  LocallyUniqueID ID(int offset) const noexcept {
    return variables_[static_cast<std::size_t>(offset)].GetID();
  }

  // The first offset with this identifier, or -1.
  int Find(LocallyUniqueID id) const noexcept;
  bool Contains(LocallyUniqueID id) const noexcept { return Find(id) >= 0; }
  bool HasUniqueIDs() const noexcept;
  bool HasSameIDsAs(const VariableBlock& other) const noexcept;

  // Copies all variables of `other`, its stamp and its cached hash to this block, which must be
  // empty and have the same capacity.
  void Copy(const VariableBlock& other) noexcept;
  // Makes the variables equal to the variables of `other`, which must have the same identifiers in
  // the same order. Copies the cached hash, but not the stamp.
  void Assign(const VariableBlock& other) noexcept;

  // Raises the capacity if there is no room for one more variable. The block must have fewer than
  // kCapacity variables. If this throws std::bad_alloc, nothing has changed.
  void Grow();
  // Inserts a copy. The block must have room for it.
  void Insert(int offset, const ORVX_Variable& variable) noexcept;
  void Erase(int first, int last) noexcept;
  // Moves the last variables, starting with `offset`, to the end of `to`, which must have room for
  // them.
  void MoveTail(int offset, VariableBlock& to) noexcept;

  // Call it before a variable changes. Clears the stamps of the block and of its list, and the
  // cached hash of the block.
  void Touch() noexcept;

  // The hash of the variables, cached until Touch. For `hashOf` see
  // ORVX_DataSource::HashOfVariables. Threads: several readers may call it at the same time.
  VariableListHash Hash(VariableHash (*hashOf)(const ORVX_Variable&)) const;

  // Updates the sequence before a variable of this block gets the identifier `id`. If this throws
  // std::bad_alloc, nothing has changed. Otherwise the caller must then set the identifier, without
  // failing.
  void Rename(const ORVX_Variable& variable, LocallyUniqueID id);

  // Stores the identifier that Find compares at `offset`.
  void SetIndexedID(int offset, LocallyUniqueID id) noexcept {
    words_[static_cast<std::size_t>(offset)] = id.Word();
  }

  // Set by the sequence.
  VariableSequence* sequence;  // the owner
  int slot = 0;                // index in the owner's blocks_
  int number = 0;              // index in the owner's runs_
  Stamp stamp = 0;             // also set by Copy, and cleared by Touch

 private:
  static constexpr std::uint64_t kNoHash = ~std::uint64_t{0};

  // Appends a copy without updating words_. The block must have room for it.
  void Append(const ORVX_Variable& variable) noexcept;
  void CopyHash(const VariableBlock& other) noexcept;

  std::vector<ORVX_Variable> variables_;
  // The identifiers as words; the size is the capacity, but only the first Size() words are used.
  std::vector<unsigned int> words_;
  // The cached hash; none if secondHash_ is kNoHash.
  mutable std::atomic<std::uint64_t> firstHash_{0};
  mutable std::atomic<std::uint64_t> secondHash_{kNoHash};
};

// Positions are not checked. If an operation other than Copy throws std::bad_alloc, nothing has
// changed.
//
// Threads: several readers, or one writer. Const operations change nothing but cached hashes.
class VariableSequence {
 public:
  // `onRemove` may be empty. Otherwise it is called with the old identifier of each variable that
  // is deleted or gets another identifier, but not by Copy, Match and Swap. It must not throw.
  explicit VariableSequence(std::function<void(LocallyUniqueID)> onRemove);
  VariableSequence(const VariableSequence&) = delete;
  VariableSequence& operator=(const VariableSequence&) = delete;

  int Size() const noexcept { return size_; }

  ORVX_Variable& At(int position) const noexcept {
    const std::size_t run = RunAt(position);
    return runs_[run].variables[position - starts_[run]];
  }

  // Returns the block with the variable at `position`. Sets `first` to the position of the first
  // variable of the block.
  VariableBlock& BlockAt(int position, int& first) const noexcept {
    const std::size_t run = RunAt(position);
    first = starts_[run];
    return *runs_[run].block;
  }

  int Find(LocallyUniqueID id) const noexcept;
  bool Contains(LocallyUniqueID id) const noexcept {
    return index_.HasTable() ? index_.Contains(id) : Find(id) >= 0;
  }
  bool HasUniqueIDs() const noexcept;

  // Whether the stamps show that both lists are equal.
  bool IsKnownToEqual(const VariableSequence& other) const noexcept {
    return stamp_ != 0 && stamp_ == other.stamp_;
  }

  // The hash of the list: see ORVX_DataSource::HashOfVariables.
  VariableListHash Hash(VariableHash (*hashOf)(const ORVX_Variable&)) const;

  // Copies all variables of `other`, block by block. This list must be empty. If Copy throws, the
  // list may only be destroyed.
  void Copy(const VariableSequence& other);

  // Makes this list equal to `other`. Then both lists have the same stamp, and each block has the
  // stamp of the corresponding block in `other`. The time depends mainly on the number of blocks
  // that differ. Changes nothing in `other` but stamps.
  void Match(VariableSequence& other);

  void Insert(int position, const ORVX_Variable& variable);
  void Delete(int first, int last) noexcept;  // both included

  // Exchanges the variables, but not the `onRemove` callbacks.
  void Swap(VariableSequence& other) noexcept;

 private:
  friend class VariableBlock;

  static constexpr int kStride = 256;
  // A block smaller than kSmallSize is merged with a neighbour if the result has at most
  // kMergedSize variables: few enough that the next insertion does not split the merged block.
  static constexpr int kSmallSize = 64;
  static constexpr int kMergedSize = 192;

  // An element of runs_: a block at its place in the list.
  struct Run {
    ORVX_Variable* variables;  // cached block->Variables()
    VariableBlock* block;      // in blocks_
  };

  std::size_t RunAt(int position) const noexcept {
    const std::size_t last = runs_.size() - 1;
    const std::size_t entry =
        std::min(static_cast<std::size_t>(position / kStride), runAt_.size() - 1);
    std::size_t run = std::min(static_cast<std::size_t>(runAt_[entry]), last);
    while (starts_[run] > position) --run;
    while (run < last && starts_[run + 1] <= position) ++run;
    return run;
  }

  std::size_t RunWithRoom(int position);
  void InsertRun(std::size_t run, int capacity);
  void ReserveIndex();
  void AddToIndex(const VariableBlock& block) noexcept;
  void ReserveSlots(std::size_t more);
  VariableBlock& AddBlock(std::unique_ptr<VariableBlock> block) noexcept;
  void RemoveBlock(VariableBlock& block) noexcept;
  void Split(std::size_t run);
  void MergeWithNext(std::size_t run) noexcept;
  void EraseInRun(std::size_t run, int first, int last) noexcept;
  void EraseEmptyRuns(std::size_t first, std::size_t end) noexcept;
  void Renumber(std::size_t run) noexcept;
  void Shift(std::size_t run, int by) noexcept;
  void RebuildTable() noexcept;
  void ReserveTable(int size);
  void Rename(VariableBlock& block, int offset, LocallyUniqueID id);
  void ReportRemoved(LocallyUniqueID id) const;

  bool HasSameLayoutAs(const VariableSequence& other) const noexcept;
  std::vector<int> RunsToKeep(const VariableSequence& other) const;
  void Rebuild(const VariableSequence& other, const std::vector<int>& kept);
  void ShareStamps(VariableSequence& other) noexcept;

  std::function<void(LocallyUniqueID)> onRemove_;
  std::vector<std::unique_ptr<VariableBlock>> blocks_;  // by slot; null if the slot is free
  // The blocks in the order of the list. No block is empty. If there are several blocks, the
  // capacity of each is kCapacity.
  std::vector<Run> runs_;
  std::vector<int> starts_;  // the position of the first variable of each run
  // The position table: entry k is the index in runs_ of the block with position k * kStride.
  // RebuildTable makes it exact; later edits may move the position to a nearby block.
  std::vector<int> runAt_;
  int lag_ = 0;              // variables inserted and deleted since RebuildTable
  std::size_t lagFrom_ = 0;  // the first run changed since RebuildTable
  IdentifierIndex index_;    // no table until the list outgrows the smallest block
  int size_ = 0;
  int firstFreeSlot_ = 0;  // every slot before it is in use
  Stamp stamp_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_
