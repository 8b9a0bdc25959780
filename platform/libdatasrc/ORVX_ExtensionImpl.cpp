#include <libdatasrc/ORVX_ExtensionImpl.h>

#include <stdexcept>

namespace {

std::string CopyOf(long length, const void* data) {
  if (length < 0) {
    throw std::invalid_argument("ORVX_ExtensionImpl: negative length " + std::to_string(length));
  }
  if (length > 0 && data == nullptr) {
    throw std::invalid_argument("ORVX_ExtensionImpl: null data with length " +
                                std::to_string(length));
  }
  if (length == 0) return std::string();
  return std::string(static_cast<const char*>(data), static_cast<std::size_t>(length));
}

}  // namespace

ORVX_ExtensionImpl::ORVX_ExtensionImpl(int type, int version, long length, const void* data)
    : type_(type), version_(version), bytes_(CopyOf(length, data)) {}
