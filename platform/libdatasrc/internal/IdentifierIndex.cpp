
#include <libdatasrc/internal/IdentifierIndex.h>

#include <bit>
#include <cstdint>

namespace sdm_internal {

namespace {

constexpr std::size_t kLeastSlots = 16;

}  // namespace

void IdentifierIndex::Reserve(std::size_t entries) {
  if (2 * entries <= entries_.size()) return;
  IdentifierIndex larger;
  const std::size_t slots = std::bit_ceil(std::max(4 * entries, kLeastSlots));
  larger.entries_.resize(slots);
  larger.shift_ = static_cast<unsigned int>(32 - std::countr_zero(slots));
  for (const Entry& entry : entries_) {
    if (entry.block != nullptr) larger.Add(entry.id, entry.block);
  }
  *this = std::move(larger);
}

void IdentifierIndex::Add(LocallyUniqueID id, VariableBlock* block) noexcept {
  std::size_t slot = Home(id);
  while (entries_[slot].block != nullptr) slot = Next(slot);
  entries_[slot] = Entry{id, block};
}

void IdentifierIndex::Remove(LocallyUniqueID id, const VariableBlock* block) noexcept {
  const std::size_t slot = SlotOf(id, block);
  if (entries_[slot].block != nullptr) CloseGap(slot);
}

void IdentifierIndex::Replace(LocallyUniqueID id, const VariableBlock* from,
                              VariableBlock* to) noexcept {
  entries_[SlotOf(id, from)].block = to;
}

// Serials are consecutive: multiplying by the golden ratio spreads them over the high bits.
std::size_t IdentifierIndex::Home(LocallyUniqueID id) const noexcept {
  return static_cast<std::uint32_t>(id.Word() * 0x9E3779B1U) >> shift_;
}

// The slot of the pair, or the free slot that ends the search.
std::size_t IdentifierIndex::SlotOf(LocallyUniqueID id, const VariableBlock* block) const noexcept {
  std::size_t slot = Home(id);
  while (entries_[slot].block != nullptr &&
         !(entries_[slot].block == block && entries_[slot].id == id)) {
    slot = Next(slot);
  }
  return slot;
}

// Frees the slot and moves later entries up: no slot between an entry's home and the entry may be
// free.
void IdentifierIndex::CloseGap(std::size_t gap) noexcept {
  const std::size_t mask = entries_.size() - 1;
  for (std::size_t slot = Next(gap); entries_[slot].block != nullptr; slot = Next(slot)) {
    const std::size_t fromHome = (slot - Home(entries_[slot].id)) & mask;
    const std::size_t fromGap = (slot - gap) & mask;
    if (fromHome < fromGap) continue;
    entries_[gap] = entries_[slot];
    gap = slot;
  }
  entries_[gap] = Entry{};
}

}  // namespace sdm_internal
