// FullMemory: the allocator. Separate from its callers: a compiler that sees both would warn of
// mismatched malloc and delete.

#include <tests/support/FullMemory.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// The number of allocations that still succeed; negative: all.
long allocationsLeft = -1;
bool shortageLasts = true;

}  // namespace

namespace support {

MemoryFor::MemoryFor(long count, Shortage shortage) {
  allocationsLeft = count;
  shortageLasts = shortage == Shortage::Lasts;
}

MemoryFor::~MemoryFor() {
  EndShortage();
}

void EndShortage() {
  allocationsLeft = -1;
}

bool OneMoreIsLeft() {
  if (allocationsLeft < 0) return true;
  if (allocationsLeft == 0) {
    if (!shortageLasts) EndShortage();
    return false;
  }
  --allocationsLeft;
  return true;
}

}  // namespace support

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return support::OneMoreIsLeft() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
void* operator new(std::size_t size) {
  if (void* const storage = operator new(size, std::nothrow)) return storage;
  throw std::bad_alloc();
}
void operator delete(void* storage) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t) noexcept {
  std::free(storage);
}
