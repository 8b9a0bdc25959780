// Checks that messages allocate and free their memory in the libvutility that
// replace_platform.cmake builds as another vendor's library. Does not compile with the bundled
// libvutility, because only the vendor's header declares vendorLiveBlocks.

#include <cstdio>
#include <memory>

#include <liborvxdemg/ResetUndoMsg.h>
#include <libvutility/VUGlobal.h>

int main() {
  const long before = vendorLiveBlocks();
  auto first = std::make_unique<DEMessages::ResetUndoMsg>();
  std::unique_ptr<VSerializable> second(first->VSClone());  // made inside the message library
  const long during = vendorLiveBlocks();
  first.reset();
  second.reset();
  const long after = vendorLiveBlocks();

  std::printf("blocks: %ld, %ld, %ld\n", before, during, after);
  return before == 0 && during == 2 && after == 0 ? 0 : 1;
}
