#include "platform/linux/secure_random.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <vector>

namespace tovalin {
namespace {

using testing::Each;

TEST(SecureRandomTest, FillsEveryByteDifferentlyEachTime) {
  const auto random = makeSecureRandom();
  std::set<std::vector<uint8_t>> keys;
  for (int i = 0; i < 50; ++i) {
    std::vector<uint8_t> key(32);
    EXPECT_EQ(random->fill(key), 0);
    keys.insert(key);
  }
  EXPECT_EQ(keys.size(), 50u);
}

TEST(SecureRandomTest, FillsMoreThanTheKernelGivesAtOnce) {
  std::vector<uint8_t> bytes(100'000);
  EXPECT_EQ(makeSecureRandom()->fill(bytes), 0);
  EXPECT_EQ(std::set<uint8_t>(bytes.end() - 5000, bytes.end()).size(), 256u);
}

TEST(SecureRandomTest, ShortAndInterruptedReadsAreContinued) {
  static int calls;
  calls = 0;
  const auto random = makeSecureRandom([](void* buffer, size_t size, unsigned) -> ssize_t {
    if (++calls % 2 == 0) {
      errno = EINTR;
      return -1;
    }
    const size_t count = std::min<size_t>(size, 3);
    std::memset(buffer, calls, count);
    return static_cast<ssize_t>(count);
  });
  std::array<uint8_t, 8> bytes{};
  EXPECT_EQ(random->fill(bytes), 0);
  EXPECT_THAT(bytes, testing::ElementsAre(1, 1, 1, 3, 3, 3, 5, 5));
}

TEST(SecureRandomTest, AFailureIsReportedAndLeavesTheBytesAlone) {
  static int calls;
  calls = 0;
  const auto random = makeSecureRandom([](void* buffer, size_t, unsigned) -> ssize_t {
    if (++calls == 2) {
      errno = ENOSYS;
      return -1;
    }
    std::memset(buffer, 0xFF, 4);
    return 4;
  });
  std::array<uint8_t, 32> bytes{};
  EXPECT_EQ(random->fill(bytes), ENOSYS);
  EXPECT_THAT(bytes, Each(0));
}

TEST(SecureRandomTest, NothingToFillSucceeds) {
  EXPECT_EQ(makeSecureRandom()->fill({}), 0);
}

}  // namespace
}  // namespace tovalin
