#include "platform/webrtc/large_block.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

thread_local void* largeBlock = nullptr;
thread_local std::size_t largeBlockSize = 0;

bool isZero(const char* page, std::size_t size) {
  return page[0] == 0 && std::memcmp(page, page + 1, size - 1) == 0;
}

}  // namespace

// glibc's own, under their lasting names.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void __libc_free(void* block);

// For every library in the process, as any replacement of an allocator would be.
extern "C" void* malloc(std::size_t size) {
  void* const block = __libc_malloc(size);
  if (size >= tovalin::kLargeBlock && size > largeBlockSize && block != nullptr) {
    largeBlock = block;
    largeBlockSize = size;
  }
  return block;
}

extern "C" void free(void* block) noexcept {
  // Its pages may belong to somebody else from now on.
  if (block != nullptr && block == largeBlock) tovalin::forgetLargeBlock();
  __libc_free(block);
}

namespace tovalin {

void forgetLargeBlock() {
  largeBlock = nullptr;
  largeBlockSize = 0;
}

void giveBackLargeBlock() {
  if (largeBlock == nullptr) return;
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<std::uintptr_t>(largeBlock);
  const auto end = (start + largeBlockSize) / pageSize * pageSize;
  auto page = (start + pageSize - 1) / pageSize * pageSize;
  while (page < end) {
    auto after = page;
    while (after < end && isZero(reinterpret_cast<const char*>(after), pageSize)) {
      after += pageSize;
    }
    if (after > page) {
      madvise(reinterpret_cast<void*>(page), after - page, MADV_DONTNEED);
    }
    page = after + pageSize;
  }
  forgetLargeBlock();
}

}  // namespace tovalin
