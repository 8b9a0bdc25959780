// Counts the blocks that a vendor's allocator library allocates. replace_platform.cmake links this
// file with --wrap, so that the sources of libvutility call __wrap_malloc and __wrap_free.

#include <atomic>
#include <cstddef>

namespace {
std::atomic<long> liveBlocks{0};
}

extern "C" {

void* __real_malloc(std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  void* block = __real_malloc(size);
  if (block != nullptr) ++liveBlocks;
  return block;
}

void __wrap_free(void* block) {
  if (block != nullptr) --liveBlocks;
  __real_free(block);
}

long vendorLiveBlocks() {
  return liveBlocks;
}
}
