// VUGlobal: the allocator for objects that are created in one library and deleted in another.
//
//   class Message : public VUGlobal { ... };
//   auto* message = new Message;   // from VUGlobal::operator new
//   delete message;                // to VUGlobal::operator delete, in any library

#ifndef LIBVUTILITY_VUGLOBAL_H_
#define LIBVUTILITY_VUGLOBAL_H_

#include <ServerDataManager/Export.h>
#include <cstddef>
#include <new>

// `new` and `delete` of a derived class use this library's memory, never the global operators. So
// they work even if the program replaces the global operators in only one of its libraries. Arrays
// and standard containers still use the global operators.
//
// Not for classes with a stricter alignment than std::max_align_t.
//
// Threads: any.
class SDM_EXPORT VUGlobal {
 public:
  // Allocates at least `size` bytes; never returns null. If memory runs out, calls the program's
  // new handler repeatedly, and throws std::bad_alloc if none is set.
  static void* operator new(std::size_t size);
  // Allocates in the same way, but returns null instead of throwing.
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  // Placement new: returns `place`.
  static void* operator new(std::size_t size, void* place) noexcept;

  // Frees memory from the first two forms of operator new. Does nothing for null.
  static void operator delete(void* storage) noexcept;
  static void operator delete(void* storage, const std::nothrow_t&) noexcept;
  // For placement new. Does nothing: the caller owns the memory.
  static void operator delete(void* storage, void* place) noexcept;

 protected:
  VUGlobal() = default;
  VUGlobal(const VUGlobal&) = default;
  VUGlobal& operator=(const VUGlobal&) = default;
  ~VUGlobal() = default;
};

#endif  // LIBVUTILITY_VUGLOBAL_H_
