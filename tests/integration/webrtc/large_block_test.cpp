#include "platform/webrtc/large_block.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace tovalin {
namespace {

struct Free {
  void operator()(char* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, Free>;

constexpr size_t kSize = kLargeBlock + 12345;
const auto kPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));

Block cleared(size_t size) {
  Block block(static_cast<char*>(std::malloc(size)));
  // Through a volatile pointer, or the compiler makes calloc of it, which clears nothing.
  char* volatile start = block.get();
  std::memset(start, 0, size);
  return block;
}

// Pages of a block that are in memory, its first and last one, which it shares, left out.
size_t residentPages(const Block& block, size_t size) {
  const auto start = (reinterpret_cast<uintptr_t>(block.get()) / kPage + 1) * kPage;
  const size_t pages = size / kPage - 2;
  std::vector<unsigned char> resident(pages);
  EXPECT_EQ(mincore(reinterpret_cast<void*>(start), pages * kPage, resident.data()), 0);
  return static_cast<size_t>(std::ranges::count_if(resident, [](auto page) { return page & 1; }));
}

TEST(LargeBlockTest, ZeroedPagesAreGivenBackAndReadAsZeros) {
  forgetLargeBlock();
  const Block block = cleared(kSize);
  ASSERT_GT(residentPages(block, kSize), kSize / kPage - 4);
  giveBackLargeBlock();
  EXPECT_EQ(residentPages(block, kSize), 0u);
  EXPECT_TRUE(std::all_of(block.get(), block.get() + kSize, [](char byte) { return byte == 0; }));
}

TEST(LargeBlockTest, PagesThatHoldAnythingAreKept) {
  forgetLargeBlock();
  const Block block = cleared(kSize);
  const std::vector<size_t> places{0, 5 * kPage + 17, kSize / 2, kSize - 1};
  for (const size_t place : places) block.get()[place] = 'x';
  giveBackLargeBlock();
  EXPECT_LE(residentPages(block, kSize), places.size());
  for (const size_t place : places) EXPECT_EQ(block.get()[place], 'x') << place;
}

TEST(LargeBlockTest, SmallBlocksForgottenOnesAndThoseOfOtherThreadsAreLeftAlone) {
  forgetLargeBlock();
  const Block small = cleared(kLargeBlock / 2);
  giveBackLargeBlock();
  EXPECT_GT(residentPages(small, kLargeBlock / 2), kLargeBlock / 2 / kPage - 4);

  const Block forgotten = cleared(kSize);
  forgetLargeBlock();
  giveBackLargeBlock();
  EXPECT_GT(residentPages(forgotten, kSize), kSize / kPage - 4);

  Block other;
  std::thread([&] { other = cleared(kSize); }).join();
  giveBackLargeBlock();
  EXPECT_GT(residentPages(other, kSize), kSize / kPage - 4);
}

TEST(LargeBlockTest, AFreedBlockIsForgottenAndTheNextOneCounts) {
  forgetLargeBlock();
  cleared(2 * kSize).reset();
  giveBackLargeBlock();
  const Block block = cleared(kSize);
  giveBackLargeBlock();
  EXPECT_EQ(residentPages(block, kSize), 0u);
}

}  // namespace
}  // namespace tovalin
