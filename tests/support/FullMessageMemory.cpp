// FullMemory for change messages: the program's VUGlobal operators, in place of those of
// libvutility. All of them, so that a static library's are not linked as well.

#include <libvutility/VUGlobal.h>
#include <tests/support/FullMemory.h>

#include <cstdlib>

void* VUGlobal::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return support::OneMoreIsLeft() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
void* VUGlobal::operator new(std::size_t size) {
  if (void* const storage = operator new(size, std::nothrow)) return storage;
  throw std::bad_alloc();
}
void* VUGlobal::operator new(std::size_t, void* place) noexcept {
  return place;
}
void VUGlobal::operator delete(void* storage) noexcept {
  std::free(storage);
}
void VUGlobal::operator delete(void* storage, const std::nothrow_t&) noexcept {
  std::free(storage);
}
void VUGlobal::operator delete(void*, void*) noexcept {}
