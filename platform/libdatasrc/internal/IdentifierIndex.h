// IdentifierIndex: maps the identifier of a variable to the blocks that contain it.

#ifndef LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
#define LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <cstddef>
#include <vector>

namespace sdm_internal {

// A hash table with linear probing, at most seven eighths full, with one entry per pair of an
// identifier and a block. A slot is the index of a block in VariableSequence::blocks_. Reserve
// allocates ahead, so that Add, called in the middle of an edit, cannot fail. Before the first
// Reserve there is no table: Add and Remove then do nothing.
//
// Threads: as for the dictionary with this index.
class IdentifierIndex {
 public:
  bool HasTable() const noexcept { return !entries_.empty(); }

  // Allocates space for `entries` in total. May throw std::bad_alloc; then nothing has changed.
  void Reserve(std::size_t entries);

  // Adds the pair if it is not in the table yet. The table must have space for the pair.
  void Add(LocallyUniqueID id, int slot) noexcept;

  // Removes the pair, if it is in the table.
  void Remove(LocallyUniqueID id, int slot) noexcept;

  bool Contains(LocallyUniqueID id) const noexcept {
    bool found = false;
    ForEachSlot(id, [&found](int) { found = true; });
    return found;
  }

  // Calls `visit` with the slot of each block that contains `id`, in no particular order.
  template <class Visitor>
  void ForEachSlot(LocallyUniqueID id, Visitor visit) const {
    if (!HasTable()) return;
    for (std::size_t at = Home(id); entries_[at].slot != kFree; at = Next(at)) {
      if (entries_[at].id == id) visit(entries_[at].slot);
    }
  }

  // Whether all variables have different identifiers. `count` is the number of variables in all
  // blocks; each must be in the table.
  bool AreUnique(std::size_t count) const noexcept { return pairs_ == count && repeated_ == 0; }

 private:
  static constexpr int kFree = -1;

  struct Entry {
    LocallyUniqueID id;
    int slot = kFree;
  };

  std::size_t Home(LocallyUniqueID id) const noexcept;
  std::size_t Next(std::size_t at) const noexcept { return (at + 1) & (entries_.size() - 1); }
  void CloseGap(std::size_t gap) noexcept;

  std::vector<Entry> entries_;  // the size is a power of two, or 0
  unsigned int shift_ = 0;      // reduces a 32-bit hash to an index of `entries_`
  std::size_t pairs_ = 0;
  std::size_t repeated_ = 0;  // number of pairs beyond the first pair of each identifier
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_IDENTIFIERINDEX_H_
