// ORVX_ExtensionImpl: a block of bytes that a dataset stores for an application.

#ifndef LIBDATASRC_ORVX_EXTENSIONIMPL_H_
#define LIBDATASRC_ORVX_EXTENSIONIMPL_H_

#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/Export.h>

#include <string>
#include <string_view>

// Immutable and shared through counted pointers. New bytes need a new block.
//
// Threads: any.
class SDM_EXPORT ORVX_ExtensionImpl : public ORVX_RefCntObject {
 public:
  // Copies `length` bytes from `data`, which may be null if `length` is 0. `type` identifies the
  // application, `version` the format of its bytes. Throws std::invalid_argument for a negative
  // length, or a null `data` with a length above 0.
  ORVX_ExtensionImpl(int type, int version, long length, const void* data);

  int GetType() const { return type_; }
  int GetVersion() const { return version_; }
  long GetLength() const { return static_cast<long>(bytes_.size()); }
  // Valid as long as the block exists.
  std::string_view GetBytes() const { return bytes_; }

 private:
  int type_;
  int version_;
  std::string bytes_;
};

#endif  // LIBDATASRC_ORVX_EXTENSIONIMPL_H_
