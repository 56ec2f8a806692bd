// The memory and the threads of libvpx for screens, and its encoders in reserve.

#include "platform/webrtc/lean_libvpx.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/lean_libvpx_fixture.h"

namespace tovalin {
namespace {

// Of this process, without what is mapped from files.
size_t privateKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    size_t value;
    if (name == "RssAnon:" && status >> value) return value;
  }
  ADD_FAILURE() << "the system does not say";
  return 0;
}

TEST_F(LeanLibvpxTest, MemoryThatOneLargePictureTookIsGivenBackSomePicturesLater) {
  constexpr size_t kTokensOfNoise = 20'000;  // kilobytes at the least
  encode();
  const size_t before = privateKilobytes();
  showNoise();
  const size_t most = privateKilobytes();
  ASSERT_GT(most, before + kTokensOfNoise);
  order_->rows = RowBand{};
  for (int i = 0; i < 64; ++i) encode();
  EXPECT_LT(privateKilobytes() + kTokensOfNoise, most);
}

TEST_F(LeanLibvpxTest, TheMemoryOfAnEncoderGoesBackWithIt) {
  constexpr size_t kRest = 4'000;  // kilobytes
  const auto library = makeWebRtcLibrary();
  showNoise();
  end();
  const size_t before = privateKilobytes();
  for (int i = 0; i < 3; ++i) {
    begin();
    showNoise();
    EXPECT_GT(privateKilobytes(), before + 10 * kRest);
    end();
    EXPECT_LT(privateKilobytes(), before + kRest);
  }
  begin();
}

// Where the library may give its queues one, as root's.
TEST_F(LeanLibvpxTest, NoThreadThatEncodesHasARealTimePriority) {
  const auto ordinary = [] {
    namespace fs = std::filesystem;
    return std::ranges::all_of(fs::directory_iterator("/proc/self/task"), [](const auto& task) {
      return sched_getscheduler(std::stoi(task.path().filename())) == SCHED_OTHER;
    });
  };
  for (const bool reserved : {false, true}) {
    end();
    if (reserved) reserve_->prepare();
    std::thread queue([&] {
      const sched_param urgent{1};
      const bool isUrgent = pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent) == 0;
      EXPECT_EQ(ordinary(), !isUrgent);
      begin();
      EXPECT_TRUE(ordinary());
      EXPECT_FALSE(encode().empty());
    });
    queue.join();
  }
}

TEST_F(LeanLibvpxTest, AnEncoderFromTheReserveEncodesAsAFreshOneDoes) {
  const auto key = encode();
  const auto noise = showNoise();
  ASSERT_FALSE(key.empty());
  end();
  reserve_->prepare();
  begin();
  std::ranges::fill(pixels(), uint8_t{128});
  EXPECT_EQ(encode(), key);
  EXPECT_EQ(showNoise(), noise);
}

TEST_F(LeanLibvpxTest, AnEncoderFromTheReserveTakesTheRatesOfItsVisit) {
  constexpr unsigned kCoarsest = 56;
  end();
  begin(kWidth, 500'000, kCoarsest);
  const auto wide = showNoise().size();
  end();
  reserve_->prepare();
  begin(kWidth, 1'000, kCoarsest);
  EXPECT_LT(showNoise().size(), wide * 3 / 4);
}

TEST_F(LeanLibvpxTest, AnEncoderOfAnotherKindIsMadeAnew) {
  end();
  reserve_->prepare();
  begin(kWidth / 2);
  picture_.d_w = kWidth / 2;
  EXPECT_FALSE(encode().empty());
  picture_.d_w = kWidth;
}

TEST_F(LeanLibvpxTest, WhatIsInReserveMayBeDroppedAndAskedForTwice) {
  reserve_->drop();
  reserve_->prepare();
  reserve_->prepare();
  reserve_->drop();
  end();
  begin();
  EXPECT_FALSE(encode().empty());
  reserve_->prepare();
}

}  // namespace
}  // namespace tovalin
