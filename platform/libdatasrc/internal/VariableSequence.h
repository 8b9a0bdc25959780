// VariableSequence: the list of variables of a dictionary.
//
// The variables stand in blocks of at most 256, each with an array of their identifiers beside
// them; an index tells in which block an identifier is. An edit shifts within one block and
// renumbers the blocks behind it. What finds the block of a position is a table with one entry for
// every 256 positions: from that entry it is a step or two.

#ifndef LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_
#define LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_

#include <libdatasrc/internal/IdentifierIndex.h>
#include <libdatasrc/ORVX_Variable.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace sdm_internal {

class VariableSequence;

// A run of variables of one sequence. Each of them knows the block as its place.
class VariableBlock {
 public:
  static constexpr int kCapacity = 256;

  explicit VariableBlock(VariableSequence* sequence);
  VariableBlock(const VariableBlock&) = delete;
  VariableBlock& operator=(const VariableBlock&) = delete;

  int Size() const noexcept { return static_cast<int>(variables_.size()); }
  bool IsFull() const noexcept { return Size() == kCapacity; }

  // The address of the first variable, the same for the block's whole life.
  ORVX_Variable* Variables() noexcept { return variables_.data(); }
  LocallyUniqueID ID(int offset) const noexcept {
    return variables_[static_cast<std::size_t>(offset)].GetID();
  }

  // The first offset of the identifier, or -1.
  int Find(LocallyUniqueID id) const noexcept;
  bool Holds(LocallyUniqueID id) const noexcept { return Find(id) >= 0; }

  // Takes over copies of all variables of `other`; this block is empty.
  void Copy(const VariableBlock& other) noexcept;

  // Inserts a copy; the block is not full.
  void Insert(int offset, const ORVX_Variable& variable) noexcept;
  void Erase(int first, int last) noexcept;
  // Moves the variables from `offset` on behind those of `to`, which has room for them.
  void MoveTail(int offset, VariableBlock& to) noexcept;

  // Tells the sequence that a variable of this block is about to take another identifier. May throw
  // std::bad_alloc and change nothing; the caller then gives the variable `id` and cannot fail.
  void Rename(const ORVX_Variable& variable, LocallyUniqueID id);

  // Makes `id` what the search finds at `offset`.
  void Enter(int offset, LocallyUniqueID id) noexcept {
    words_[static_cast<std::size_t>(offset)] = id.Word();
  }

  // Where the block stands, kept by its sequence.
  VariableSequence* sequence;
  int number = 0;

 private:
  std::vector<ORVX_Variable> variables_;  // with room for all from the start
  // Their identifiers as words; what stands behind the last has no meaning.
  std::array<unsigned int, kCapacity> words_{};
};

// Positions are not checked here. Operations that throw std::bad_alloc have then changed nothing.
//
// Threads: const operations from several at once; none of them leaves a trace.
class VariableSequence {
 public:
  // `onLeave` is called with the identifier of each variable that leaves: deleted, or given another
  // identifier in its place. It must not throw. Empty for nobody.
  explicit VariableSequence(std::function<void(LocallyUniqueID)> onLeave);
  VariableSequence(const VariableSequence&) = delete;
  VariableSequence& operator=(const VariableSequence&) = delete;

  int Size() const noexcept { return size_; }

  ORVX_Variable& At(int position) const noexcept {
    std::size_t run =
        static_cast<std::size_t>(runAt_[static_cast<std::size_t>(position / kStride)]);
    while (run + 1 < runs_.size() && runs_[run + 1].start <= position) ++run;
    return runs_[run].variables[position - runs_[run].start];
  }

  int Find(LocallyUniqueID id) const noexcept;

  // Takes over copies of all variables of `other`, block by block; this list is empty. Where it
  // throws, it may only be destroyed.
  void Copy(const VariableSequence& other);

  void Insert(int position, const ORVX_Variable& variable);
  void Delete(int first, int last) noexcept;  // both included

  // Exchanges the variables of both, but not whom they tell of those that leave.
  void Swap(VariableSequence& other) noexcept;

 private:
  friend class VariableBlock;

  static constexpr int kStride = 256;
  // A block that shrinks below the first size joins a neighbour if both have at most the second:
  // far enough from full not to be split again at once.
  static constexpr int kSmallSize = 64;
  static constexpr int kMergedSize = 192;

  struct Run {
    int start;                 // the position of the block's first variable
    ORVX_Variable* variables;  // block->Variables(), at hand
    std::unique_ptr<VariableBlock> block;
  };

  std::size_t RunOf(int position) const noexcept;
  std::size_t RunWithRoom(int position);
  std::size_t InsertRun(std::size_t run);
  void Split(std::size_t run);
  void MergeWithNext(std::size_t run) noexcept;
  void EraseInRun(std::size_t run, int first, int last) noexcept;
  void EraseEmptyRuns(std::size_t first, std::size_t end) noexcept;
  void Renumber(std::size_t run) noexcept;
  void Shift(std::size_t run, int by) noexcept;
  void Tabulate(std::size_t run) noexcept;
  void ReserveTable(int size);
  void Rename(VariableBlock& block, int offset, LocallyUniqueID id);
  void Left(LocallyUniqueID id) const;

  std::function<void(LocallyUniqueID)> onLeave_;
  std::vector<Run> runs_;   // no block is empty
  std::vector<int> runAt_;  // number k: the run that position k * kStride is in
  IdentifierIndex index_;
  int size_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_
