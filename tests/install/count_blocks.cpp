// Counts the allocated blocks. This file is part of the vendor's allocator library that
// replace_platform.cmake builds with --wrap, so that the sources of libvutility call these
// functions.

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
