// Apart from its callers: a compiler that sees both sides takes the pair for a mismatch.

#include "FailingAllocator.h"

#include <cstdlib>
#include <new>

long allocationsLeft = -1;
std::size_t bytesAllocated = 0;

void* operator new(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  bytesAllocated += size;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
