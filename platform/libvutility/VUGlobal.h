// VUGlobal: the one allocator for objects that pass from library to library.
//
//   class Message : public VUGlobal { ... };
//   auto* message = new Message;   // from VUGlobal::operator new
//   delete message;                // to VUGlobal::operator delete, whichever library does it

#ifndef LIBVUTILITY_VUGLOBAL_H_
#define LIBVUTILITY_VUGLOBAL_H_

#include <ServerDataManager/Export.h>
#include <cstddef>
#include <new>

// Derive from it, and plain `new` and `delete` of the class take their storage here. Storage comes
// from and goes to this library, never the global operators, so a program that replaces those in
// one of its parts does not break the hand-over. Arrays and standard containers are not affected.
//
// A class with a stricter alignment than std::max_align_t must not derive from it.
//
// Threads: any.
class SDM_EXPORT VUGlobal {
 public:
  // At least `size` bytes, never null. While there is no memory, calls the program's new handler,
  // and throws std::bad_alloc when none is set.
  static void* operator new(std::size_t size);
  // The same, with null in place of the exception.
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  // `place` itself, for building an object in storage that the caller owns.
  static void* operator new(std::size_t size, void* place) noexcept;

  // Takes back what one of the first two gave; null does nothing.
  static void operator delete(void* storage) noexcept;
  static void operator delete(void* storage, const std::nothrow_t&) noexcept;
  // Does nothing: the storage is the caller's.
  static void operator delete(void* storage, void* place) noexcept;

 protected:
  VUGlobal() = default;
  VUGlobal(const VUGlobal&) = default;
  VUGlobal& operator=(const VUGlobal&) = default;
  ~VUGlobal() = default;
};

#endif  // LIBVUTILITY_VUGLOBAL_H_
