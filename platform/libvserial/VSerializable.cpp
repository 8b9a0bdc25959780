// Sets the name of serialisable objects. The destructor is defined here so that only this library
// has the vtable.

#include <libvserial/VSerializable.h>

VSerializable::~VSerializable() = default;

void VSerializable::SetName(const char* name) {
  name_ = name == nullptr ? "" : name;
}
