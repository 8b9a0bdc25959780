// Deletes counted objects. The destructor is defined here so that only this library has the vtable.

#include <libdatastr/ORVX_RefCntObject.h>

ORVX_RefCntObject::~ORVX_RefCntObject() = default;

void ORVX_RefCntObject::DeleteThis() const {
  delete this;
}
