// The name and the virtual table of serialisable objects.

#include <libvserial/VSerializable.h>

VSerializable::~VSerializable() = default;

void VSerializable::SetName(const char* name) {
  name_ = name == nullptr ? "" : name;
}
