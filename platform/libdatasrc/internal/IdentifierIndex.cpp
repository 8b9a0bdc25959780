#include <libdatasrc/internal/IdentifierIndex.h>

#include <bit>
#include <cstdint>
#include <utility>

namespace sdm_internal {

void IdentifierIndex::Reserve(std::size_t entries) {
  if (8 * entries <= 7 * entries_.size()) return;
  IdentifierIndex larger;
  const std::size_t size = std::bit_ceil(8 * entries / 7 + 1);
  larger.entries_.resize(size);
  larger.shift_ = static_cast<unsigned int>(32 - std::countr_zero(size));
  for (const Entry& entry : entries_) {
    if (entry.slot != kFree) larger.Add(entry.id, entry.slot);
  }
  *this = std::move(larger);
}

void IdentifierIndex::Add(LocallyUniqueID id, int slot) noexcept {
  if (!HasTable()) return;
  bool repeats = false;
  std::size_t at = Home(id);
  for (; entries_[at].slot != kFree; at = Next(at)) {
    if (entries_[at].id != id) continue;
    if (entries_[at].slot == slot) return;
    repeats = true;
  }
  entries_[at] = Entry{id, slot};
  ++pairs_;
  if (repeats) ++repeated_;
}

void IdentifierIndex::Remove(LocallyUniqueID id, int slot) noexcept {
  if (!HasTable()) return;
  std::size_t found = entries_.size();
  bool repeats = false;
  for (std::size_t at = Home(id); entries_[at].slot != kFree; at = Next(at)) {
    if (entries_[at].id != id) continue;
    if (entries_[at].slot == slot) {
      found = at;
    } else {
      repeats = true;
    }
  }
  if (found == entries_.size()) return;
  CloseGap(found);
  --pairs_;
  if (repeats) --repeated_;
}

// Multiplying by 2^32 / golden ratio spreads consecutive serials over the whole table.
std::size_t IdentifierIndex::Home(LocallyUniqueID id) const noexcept {
  return static_cast<std::uint32_t>(id.Word() * 0x9E3779B1U) >> shift_;
}

// Frees the entry at `gap`. A search begins at Home and ends at the first free entry, so later
// entries that searches would miss are moved into the gap.
void IdentifierIndex::CloseGap(std::size_t gap) noexcept {
  const std::size_t mask = entries_.size() - 1;
  for (std::size_t at = Next(gap); entries_[at].slot != kFree; at = Next(at)) {
    const std::size_t fromHome = (at - Home(entries_[at].id)) & mask;
    const std::size_t fromGap = (at - gap) & mask;
    if (fromHome < fromGap) continue;
    entries_[gap] = entries_[at];
    gap = at;
  }
  entries_[gap] = Entry{};
}

}  // namespace sdm_internal
