// VUGlobal uses malloc, so that replaced global operators have no effect.

#include <libvutility/VUGlobal.h>

#include <cstdlib>

namespace {

// Returns null only if memory runs out and no new handler is set.
void* Allocate(std::size_t size) {
  // At least 1 byte: objects of size 0 need distinct addresses that are not null.
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
  } catch (const std::bad_alloc&) {  // thrown by the new handler
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
