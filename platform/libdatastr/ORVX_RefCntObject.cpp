// Deletion of counted objects; anchors their vtable.

#include <libdatastr/ORVX_RefCntObject.h>

ORVX_RefCntObject::~ORVX_RefCntObject() = default;

void ORVX_RefCntObject::DeleteThis() const {
  delete this;
}
