// ORVX_ExtensionImpl: a block of bytes that a dataset carries for somebody else.

#ifndef LIBDATASRC_ORVX_EXTENSIONIMPL_H_
#define LIBDATASRC_ORVX_EXTENSIONIMPL_H_

#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/Export.h>

#include <string>
#include <string_view>

// Shared by counted pointers and never changed once it is built: a data source that gets other
// bytes gets another block.
//
// Threads: any.
class SDM_EXPORT ORVX_ExtensionImpl : public ORVX_RefCntObject {
 public:
  // Copies `length` bytes from `data`, which may be null for none. `type` says whose the bytes are,
  // `version` in which form they are. Throws std::invalid_argument for a negative length and for a
  // null `data` with a length above 0.
  ORVX_ExtensionImpl(int type, int version, long length, const void* data);

  int GetType() const { return type_; }
  int GetVersion() const { return version_; }
  long GetLength() const { return static_cast<long>(bytes_.size()); }
  // Good as long as the block.
  std::string_view GetBytes() const { return bytes_; }

 private:
  int type_;
  int version_;
  std::string bytes_;
};

#endif  // LIBDATASRC_ORVX_EXTENSIONIMPL_H_
