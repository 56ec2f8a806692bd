#include "platform/webrtc/large_block.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
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

// The block that a search finds among others.
Block found(size_t size) {
  const LargeBlockSearch search;
  return cleared(size);
}

TEST(LargeBlockTest, ZeroedPagesAreGivenBackAndReadAsZeros) {
  const Block block = found(kSize);
  EXPECT_EQ(rememberedLargeBlock().size, kSize);
  ASSERT_GT(residentPages(block, kSize), kSize / kPage - 4);
  giveBackZeros();
  EXPECT_EQ(residentPages(block, kSize), 0u);
  EXPECT_TRUE(std::all_of(block.get(), block.get() + kSize, [](char byte) { return byte == 0; }));
}

TEST(LargeBlockTest, PagesThatHoldAnythingAreKept) {
  const Block block = found(kSize);
  const std::vector<size_t> places{0, 5 * kPage + 17, kSize / 2, kSize - 1};
  for (const size_t place : places) block.get()[place] = 'x';
  giveBackZeros();
  EXPECT_LE(residentPages(block, kSize), places.size());
  for (const size_t place : places) EXPECT_EQ(block.get()[place], 'x') << place;
}

TEST(LargeBlockTest, WhatNobodyNeedsIsDiscarded) {
  const Block block = found(kSize);
  std::memset(block.get(), 'x', kSize);
  discardLargeBlock();
  EXPECT_EQ(residentPages(block, kSize), 0u);
  block.get()[kSize / 2] = 'y';
  EXPECT_EQ(block.get()[kSize / 2], 'y') << "it can be used again";
}

TEST(LargeBlockTest, OnlyTheLargestBlockThatThisThreadTakesDuringASearchIsRemembered) {
  const Block before = cleared(2 * kSize);
  Block small, block, other;
  {
    const LargeBlockSearch search;
    small = cleared(kLargeBlock / 2);
    block = cleared(kSize);
    std::thread([&] { other = cleared(2 * kSize); }).join();
  }
  const Block after = cleared(2 * kSize);
  EXPECT_EQ(rememberedLargeBlock().size, kSize);
  giveBackZeros();
  EXPECT_EQ(residentPages(block, kSize), 0u);
  for (const Block* left : std::initializer_list<const Block*>{&before, &other, &after}) {
    EXPECT_GT(residentPages(*left, 2 * kSize), 2 * kSize / kPage - 4);
  }
  EXPECT_GT(residentPages(small, kLargeBlock / 2), kLargeBlock / 2 / kPage - 4);
}

TEST(LargeBlockTest, AFreedBlockIsForgotten) {
  found(kSize).reset();
  EXPECT_EQ(rememberedLargeBlock().size, 0u);
  giveBackZeros();
  discardLargeBlock();
}

TEST(LargeBlockTest, AnotherThreadMayGoOnWithABlock) {
  LargeBlock taken;
  Block block;
  std::thread([&] {
    block = found(kSize);
    taken = rememberedLargeBlock();
  }).join();
  rememberLargeBlock(taken);
  giveBackZeros();
  EXPECT_EQ(residentPages(block, kSize), 0u);
  block.reset();
  EXPECT_EQ(rememberedLargeBlock().size, 0u);
}

TEST(LargeBlockTest, ANewSearchForgetsWhatTheLastOneFound) {
  const Block block = found(kSize);
  { const LargeBlockSearch search; }
  EXPECT_EQ(rememberedLargeBlock().size, 0u);
  giveBackZeros();
  EXPECT_GT(residentPages(block, kSize), kSize / kPage - 4);
}

}  // namespace
}  // namespace tovalin
