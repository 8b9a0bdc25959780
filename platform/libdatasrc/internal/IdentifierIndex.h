// IdentifierIndex: from the identifier of a variable to the blocks of a dictionary that hold it.

#ifndef LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
#define LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace sdm_internal {

class VariableBlock;

// A hash table with linear probing, at most half full. It holds each pair of an identifier and a
// block once; an identifier that stands in several blocks has an entry for each. Room is made
// ahead, so that entering, which happens in the middle of an edit, cannot fail.
//
// Threads: as for the dictionary it belongs to.
class IdentifierIndex {
 public:
  // Makes room for `entries` in all. May throw std::bad_alloc and change nothing.
  void Reserve(std::size_t entries);

  // Takes over all pairs of `other`, each with the block that `exchange` makes of the one there.
  // May throw std::bad_alloc and change nothing.
  template <class Exchange>
  void Copy(const IdentifierIndex& other, Exchange exchange) {
    std::vector<Entry> entries = other.entries_;
    for (Entry& entry : entries) {
      if (entry.block != nullptr) entry.block = exchange(*entry.block);
    }
    entries_ = std::move(entries);
    shift_ = other.shift_;
  }

  // Enters a pair that is not there yet; there is room for it.
  void Add(LocallyUniqueID id, VariableBlock* block) noexcept;

  // Takes the pair out, if it is there.
  void Remove(LocallyUniqueID id, const VariableBlock* block) noexcept;

  // Makes the pair with `from`, which is there, the pair with `to`.
  void Replace(LocallyUniqueID id, const VariableBlock* from, VariableBlock* to) noexcept;

  // Calls `visit` with each block that holds `id`, in no order.
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

  std::vector<Entry> entries_;  // as many as a power of two, or none
  unsigned int shift_ = 0;      // of a 32-bit product, to leave a slot's number
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
