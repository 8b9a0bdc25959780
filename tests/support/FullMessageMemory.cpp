// FullMemory for change messages: replaces the VUGlobal operators of libvutility. Replaces all of
// them: otherwise the linker would also take the originals from a static libvutility, and report
// duplicate definitions.

#include <libvutility/VUGlobal.h>
#include <tests/support/FullMemory.h>

void* VUGlobal::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return support::Take(size, support::messageHeap);
}
void* VUGlobal::operator new(std::size_t size) {
  if (void* const storage = operator new(size, std::nothrow)) return storage;
  throw std::bad_alloc();
}
void* VUGlobal::operator new(std::size_t, void* place) noexcept {
  return place;
}
void VUGlobal::operator delete(void* storage) noexcept {
  support::Free(storage, support::messageHeap);
}
void VUGlobal::operator delete(void* storage, const std::nothrow_t&) noexcept {
  support::Free(storage, support::messageHeap);
}
void VUGlobal::operator delete(void*, void*) noexcept {}
