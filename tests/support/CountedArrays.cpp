// CountedArrays: the replaced operators new[] and delete[].

#include <tests/support/CountedArrays.h>

#include <new>

support::Arrays support::arrays;

void* operator new[](std::size_t size) {
  void* const storage = operator new(size);
  ++support::arrays.taken;
  support::arrays.lastSize = size;
  return storage;
}
void operator delete[](void* storage) noexcept {
  if (storage != nullptr) ++support::arrays.freed;
  operator delete(storage);
}
void operator delete[](void* storage, std::size_t) noexcept {
  operator delete[](storage);
}
