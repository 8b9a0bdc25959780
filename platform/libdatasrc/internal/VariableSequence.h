// VariableSequence: the list of variables of a dictionary.
//
// Variables are stored in blocks of at most 256, each with an array of their identifiers. An index
// maps an identifier to its block. An edit shifts variables within one block and updates the start
// positions of the later blocks. To find the block of a position, a table has an entry for every
// 256th position; the block is at most a few steps from there.

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

// Adjacent variables of one sequence. Each variable points back to its block.
class VariableBlock {
 public:
  static constexpr int kCapacity = 256;

  explicit VariableBlock(VariableSequence* sequence);
  VariableBlock(const VariableBlock&) = delete;
  VariableBlock& operator=(const VariableBlock&) = delete;

  int Size() const noexcept { return static_cast<int>(variables_.size()); }
  bool IsFull() const noexcept { return Size() == kCapacity; }

  // The first variable; the address never changes.
  ORVX_Variable* Variables() noexcept { return variables_.data(); }
  LocallyUniqueID ID(int offset) const noexcept {
    return variables_[static_cast<std::size_t>(offset)].GetID();
  }

  // The first offset with this identifier, or -1.
  int Find(LocallyUniqueID id) const noexcept;
  bool Contains(LocallyUniqueID id) const noexcept { return Find(id) >= 0; }

  // Copies all variables of `other` to this block, which is empty.
  void Copy(const VariableBlock& other) noexcept;

  // Inserts a copy; the block is not full.
  void Insert(int offset, const ORVX_Variable& variable) noexcept;
  void Erase(int first, int last) noexcept;
  // Moves the variables from `offset` on to the end of `to`, which must have space for them.
  void MoveTail(int offset, VariableBlock& to) noexcept;

  // Updates the sequence before a variable of this block gets the identifier `id`. May throw
  // std::bad_alloc; then nothing has changed. After it, the caller sets the identifier and must not
  // fail.
  void Rename(const ORVX_Variable& variable, LocallyUniqueID id);

  // Makes Find return `offset` for `id`.
  void SetIndexedID(int offset, LocallyUniqueID id) noexcept {
    words_[static_cast<std::size_t>(offset)] = id.Word();
  }

  // Set by the sequence: the owner, and the number of this block in it.
  VariableSequence* sequence;
  int number = 0;

 private:
  std::vector<ORVX_Variable> variables_;  // never reallocated
  // Their identifiers as words; undefined beyond Size().
  std::array<unsigned int, kCapacity> words_{};
};

// Positions are not checked. An operation that throws std::bad_alloc has changed nothing.
//
// Threads: several readers, or one writer. Const operations change nothing internally.
class VariableSequence {
 public:
  // `onRemove` is called with each identifier that leaves the list, because its variable was
  // deleted or got another identifier. It must not throw. May be empty.
  explicit VariableSequence(std::function<void(LocallyUniqueID)> onRemove);
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

  // Copies all variables of `other`, block by block. This list is empty. If Copy throws, the list
  // may only be destroyed.
  void Copy(const VariableSequence& other);

  void Insert(int position, const ORVX_Variable& variable);
  void Delete(int first, int last) noexcept;  // both included

  // Exchanges the variables, but not the `onRemove` callbacks.
  void Swap(VariableSequence& other) noexcept;

 private:
  friend class VariableBlock;

  static constexpr int kStride = 256;
  // A block smaller than kSmallSize is merged with a neighbour if the result has at most
  // kMergedSize variables: far enough from full that the next insertion does not split it.
  static constexpr int kSmallSize = 64;
  static constexpr int kMergedSize = 192;

  struct Run {
    int start;                 // the position of the block's first variable
    ORVX_Variable* variables;  // cached block->Variables()
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
  void RebuildTable(std::size_t run) noexcept;
  void ReserveTable(int size);
  void Rename(VariableBlock& block, int offset, LocallyUniqueID id);
  void ReportRemoved(LocallyUniqueID id) const;

  std::function<void(LocallyUniqueID)> onRemove_;
  std::vector<Run> runs_;   // no block is empty
  std::vector<int> runAt_;  // entry k: the run of position k * kStride
  IdentifierIndex index_;
  int size_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_VARIABLESEQUENCE_H_
