// The end of counted objects, and the place of their virtual table.

#include <libdatastr/ORVX_RefCntObject.h>

ORVX_RefCntObject::~ORVX_RefCntObject() = default;

void ORVX_RefCntObject::DeleteThis() const {
  delete this;
}
