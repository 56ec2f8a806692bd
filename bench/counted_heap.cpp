#include "bench/counted_heap.h"

#include <cstdlib>
#include <new>

namespace {

int64_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace tovalin {

int64_t allocationsSoFar() {
  return allocations;
}

}  // namespace tovalin
