// IdentifierIndex: maps the identifier of a variable to the blocks that contain it.

#ifndef LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
#define LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace sdm_internal {

class VariableBlock;

// A hash table with linear probing, at most half full, with one entry per pair of an identifier and
// a block. Reserve allocates ahead, so that Add, called in the middle of an edit, cannot fail.
//
// Threads: as for the dictionary it belongs to.
class IdentifierIndex {
 public:
  // Allocates space for `entries` in total. May throw std::bad_alloc; then nothing has changed.
  void Reserve(std::size_t entries);

  // Copies all pairs of `other`, with `exchange(block)` in place of each block. May throw
  // std::bad_alloc; then nothing has changed.
  template <class Exchange>
  void Copy(const IdentifierIndex& other, Exchange exchange) {
    std::vector<Entry> entries = other.entries_;
    for (Entry& entry : entries) {
      if (entry.block != nullptr) entry.block = exchange(*entry.block);
    }
    entries_ = std::move(entries);
    shift_ = other.shift_;
  }

  // Adds a pair that is not in the table. Reserve must have made space for it.
  void Add(LocallyUniqueID id, VariableBlock* block) noexcept;

  // Removes the pair, if it is in the table.
  void Remove(LocallyUniqueID id, const VariableBlock* block) noexcept;

  // Replaces `from` by `to` in a pair that is in the table.
  void Replace(LocallyUniqueID id, const VariableBlock* from, VariableBlock* to) noexcept;

  // Calls `visit` with each block that contains `id`, in no particular order.
  template <class Visitor>
  void ForEachBlock(LocallyUniqueID id, Visitor visit) const {
    if (entries_.empty()) return;
    for (std::size_t slot = Home(id); entries_[slot].block != nullptr; slot = Next(slot)) {
      if (entries_[slot].id == id) visit(entries_[slot].block);
    }
  }

 private:
  struct Entry {
    LocallyUniqueID id;
    VariableBlock* block = nullptr;  // null: the slot is free
  };

  std::size_t Home(LocallyUniqueID id) const noexcept;
  std::size_t Next(std::size_t slot) const noexcept { return (slot + 1) & (entries_.size() - 1); }
  std::size_t SlotOf(LocallyUniqueID id, const VariableBlock* block) const noexcept;
  void CloseGap(std::size_t gap) noexcept;

  std::vector<Entry> entries_;  // the size is a power of two, or 0
  unsigned int shift_ = 0;      // reduces a 32-bit hash to a slot number
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
