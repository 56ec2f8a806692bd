// Preloaded into a program, counts the blocks that each of its threads asks the heap for. SIGUSR2
// appends to the file that TOVALIN_HEAP_COUNTS names a line "thread blocks" for each of them, with
// the kernel's number of the thread, and then "END". A thread beyond the last slot counts with it.

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// The C library's own, under the names that it keeps for those who replace the others.
extern "C" {
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

struct Slot {
  std::atomic<int64_t> thread{0};
  std::atomic<int64_t> blocks{0};
};

constexpr size_t kSlots = 256;
std::array<Slot, kSlots> slots;
std::atomic<size_t> taken{0};

// Of this thread. The model that needs no allocation of its own.
[[gnu::tls_model("initial-exec")]] thread_local Slot* ours = nullptr;

void count() {
  if (ours == nullptr) {
    const size_t slot = taken++;
    ours = &slots.at(slot < kSlots ? slot : kSlots - 1);
    ours->thread = gettid();
  }
  ours->blocks.fetch_add(1, std::memory_order_relaxed);
}

// As a signal's handler may: no allocation, no lock.
void report(int) {
  const int file = open(std::getenv("TOVALIN_HEAP_COUNTS"), O_WRONLY | O_APPEND | O_CREAT, 0600);
  if (file < 0) return;
  const auto tell = [file](const char* begin, const char* end) {
    if (write(file, begin, static_cast<size_t>(end - begin)) < 0) _exit(EXIT_FAILURE);
  };
  const auto tellNumber = [&](int64_t number, char after) {
    std::array<char, 24> digits;
    const char* end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    tell(digits.begin(), end);
    tell(&after, &after + 1);
  };
  for (size_t slot = 0; slot < kSlots && slot < taken; ++slot) {
    tellNumber(slots[slot].thread, ' ');
    tellNumber(slots[slot].blocks, '\n');
  }
  constexpr std::string_view kEnd = "END\n";
  tell(kEnd.begin(), kEnd.end());
  close(file);
}

[[gnu::constructor]] void listen() {
  struct sigaction action {};
  action.sa_handler = report;
  action.sa_flags = SA_RESTART;
  sigaction(SIGUSR2, &action, nullptr);
}

}  // namespace

extern "C" {

// The host has a `malloc` of its own, which comes before any preloaded one and asks this.
void* __libc_malloc(size_t size) {
  using Malloc = void* (*)(size_t);
  static const auto theirs = reinterpret_cast<Malloc>(dlsym(RTLD_NEXT, "__libc_malloc"));
  count();
  return theirs(size);
}
void* malloc(size_t size) {
  return __libc_malloc(size);
}
void* calloc(size_t number, size_t size) {
  count();
  return __libc_calloc(number, size);
}
void* realloc(void* block, size_t size) {
  count();
  return __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
  count();
  return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
  count();
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
  count();
  *block = __libc_memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}
}
