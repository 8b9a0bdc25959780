// The allocator of VUGlobal: the C library's, so that no replaced global operator comes between.

#include <libvutility/VUGlobal.h>

#include <cstdlib>

namespace {

// Null only where there is no memory and no new handler to ask for more.
void* Allocate(std::size_t size) {
  // Two objects of an empty class must not share an address, nor look like a failure.
  const std::size_t wanted = size == 0 ? 1 : size;
  for (;;) {
    if (void* const storage = std::malloc(wanted)) return storage;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) return nullptr;
    handler();
  }
}

}  // namespace

void* VUGlobal::operator new(std::size_t size) {
  if (void* const storage = Allocate(size)) return storage;
  throw std::bad_alloc();
}

void* VUGlobal::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {  // the way a new handler gives up
    return nullptr;
  }
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
