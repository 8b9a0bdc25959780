// The name of serialisable objects; anchors their vtable.

#include <libvserial/VSerializable.h>

VSerializable::~VSerializable() = default;

void VSerializable::SetName(const char* name) {
  name_ = name == nullptr ? "" : name;
}
