// FullMemory: the global operators. They are in a separate file, because a compiler that sees the
// operators together with their callers would warn of mismatched malloc and delete.

#include <tests/support/FullMemory.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

// The number of allocations that still succeed; negative if all succeed.
long allocationsLeft = -1;
bool shortageLasts = true;
thread_local bool threadHasNone = false;

void* watchedStorage = nullptr;
std::function<void()> watchedEvent;

void GiveBack(void* storage) noexcept {
  if (storage != nullptr && storage == watchedStorage) {
    watchedStorage = nullptr;
    watchedEvent();
  }
  support::Free(storage, support::heap);
}

}  // namespace

namespace support {

thread_local Heap heap;
thread_local Heap messageHeap;

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

long AllocationsLeft() {
  return allocationsLeft;
}

bool OneMoreIsLeft() {
  if (threadHasNone) return false;
  if (allocationsLeft < 0) return true;
  if (allocationsLeft == 0) {
    if (!shortageLasts) EndShortage();
    return false;
  }
  --allocationsLeft;
  return true;
}

NoMemoryForThisThread::NoMemoryForThisThread() {
  threadHasNone = true;
}

NoMemoryForThisThread::~NoMemoryForThisThread() {
  threadHasNone = false;
}

void WhenFreed(void* storage, std::function<void()> event) {
  watchedEvent = std::move(event);
  watchedStorage = storage;
}

void* Take(std::size_t size, Heap& counts) noexcept {
  ++counts.taken;
  counts.bytes += size;
  counts.largest = std::max(counts.largest, size);
  void* const storage = OneMoreIsLeft() ? std::malloc(size == 0 ? 1 : size) : nullptr;
  if (storage == nullptr) ++counts.failed;
  return storage;
}

void Free(void* storage, Heap& counts) noexcept {
  if (storage != nullptr) ++counts.freed;
  std::free(storage);
}

}  // namespace support

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return support::Take(size, support::heap);
}
void* operator new(std::size_t size) {
  if (void* const storage = operator new(size, std::nothrow)) return storage;
  throw std::bad_alloc();
}
void operator delete(void* storage) noexcept {
  GiveBack(storage);
}
void operator delete(void* storage, std::size_t) noexcept {
  GiveBack(storage);
}
