#include "platform/webrtc/large_block.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

thread_local bool searching = false;
thread_local tovalin::LargeBlock remembered;

// The whole pages of the remembered block.
struct Pages {
  Pages()
      : size(static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE))),
        begin((reinterpret_cast<std::uintptr_t>(remembered.start) + size - 1) / size * size),
        end((reinterpret_cast<std::uintptr_t>(remembered.start) + remembered.size) / size * size) {}

  std::uintptr_t size;
  std::uintptr_t begin;
  std::uintptr_t end;
};

void giveBack(std::uintptr_t begin, std::uintptr_t end) {
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
}

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
  if (size >= tovalin::kLargeBlock && searching && size > remembered.size && block != nullptr) {
    remembered = {block, size};
  }
  return block;
}

extern "C" void free(void* block) noexcept {
  // Its pages may belong to somebody else from now on.
  if (block != nullptr && block == remembered.start) remembered = {};
  __libc_free(block);
}

namespace tovalin {

LargeBlockSearch::LargeBlockSearch() {
  remembered = {};
  searching = true;
}

LargeBlockSearch::~LargeBlockSearch() {
  searching = false;
}

LargeBlock rememberedLargeBlock() {
  return remembered;
}

void rememberLargeBlock(LargeBlock block) {
  remembered = block;
}

void giveBackZeros() {
  const Pages pages;
  auto page = pages.begin;
  while (page < pages.end) {
    auto after = page;
    while (after < pages.end && isZero(reinterpret_cast<const char*>(after), pages.size)) {
      after += pages.size;
    }
    giveBack(page, after);
    page = after + pages.size;
  }
}

void discardLargeBlock() {
  const Pages pages;
  giveBack(pages.begin, pages.end);
}

}  // namespace tovalin
