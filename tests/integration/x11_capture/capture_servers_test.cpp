#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/integration/x11_capture/capture_fixture.h"

namespace tovalin::test {
namespace {

constexpr const char* kCompared =
    "[Tovalin] the x server reports no damage, the screen is compared instead";
constexpr const char* kCopied =
    "[Tovalin] the x server shares no memory, the screen is copied through it";

struct ServerCase {
  const char* name;
  const char* screen;
  std::vector<std::string> options;
  std::vector<std::string> notices;
};

void PrintTo(const ServerCase& server, std::ostream* out) {
  *out << server.name;
}

// What every server must give, whatever it lacks.
class CaptureServersTest : public CaptureFixture, public testing::WithParamInterface<ServerCase> {
 protected:
  void streamPlain() {
    CaptureConfiguration wanted = configuration();
    wanted.showsCursor = false;
    stream(wanted);
  }
};

TEST_P(CaptureServersTest, PicturesFollowTheScreenAndStillnessIsIdle) {
  startServer(GetParam().screen, GetParam().options);
  const int right = desktop_->width() - 1;
  const int bottom = desktop_->height() - 1;
  desktop_->fill(right, bottom, 1, 1, 0xff3300);
  streamPlain();
  EXPECT_EQ(output_->picture()->width(), right + 1);
  EXPECT_EQ(output_->picture()->height(), bottom + 1);
  ASSERT_TRUE(pictureBecomesTheScreen());
  EXPECT_EQ(pixelAt(*output_->picture(), right, bottom), 0xff3300U);

  const size_t pictures = output_->count(FrameStatus::complete);
  const size_t idle = output_->count(FrameStatus::idle);
  ASSERT_TRUE(output_->waitForSamples(FrameStatus::idle, idle + 3));
  EXPECT_EQ(output_->count(FrameStatus::complete), pictures);

  desktop_->fill(0, bottom - 20, right, 10, 0x00ff00);
  desktop_->fill(0, bottom - 2, 5, 2, 0x0000ff);
  ASSERT_TRUE(pictureBecomesTheScreen());
  EXPECT_EQ(output_->brokenPromises(), 0);
  EXPECT_EQ(output_->samples()[1].damage, (std::vector<RowBand>{{0, bottom + 1}}));
  for (const auto& sample : output_->samples()) {
    if (sample.pictureNumber > pictures) {
      EXPECT_GE(sample.damage.front().top, bottom - 20);
    }
  }
}

TEST_P(CaptureServersTest, SaysWhatTheServerLacksOnce) {
  startServer(GetParam().screen, GetParam().options);
  for (int start = 0; start < 2; ++start) {
    streamPlain();
    EXPECT_FALSE(stop());
  }
  auto lines = log_.lines();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, GetParam().notices);
}

INSTANTIATE_TEST_SUITE_P(
    Servers, CaptureServersTest,
    testing::Values(
        ServerCase{"Complete", "640x480x24", {}, {}}, ServerCase{"OddSize", "1366x768x24", {}, {}},
        ServerCase{"OddestSize", "801x601x24", {}, {}},
        ServerCase{"Full1080", "1920x1080x24", {}, {}},
        ServerCase{"NoDamage", "801x601x24", {"-extension", "DAMAGE"}, {kCompared}},
        ServerCase{"NoSharedMemory", "801x601x24", {"-extension", "MIT-SHM"}, {kCopied}},
        ServerCase{"NoRandr", "801x601x24", {"-extension", "RANDR"}, {}},
        ServerCase{"BarestServer",
                   "801x601x24",
                   {"-extension", "DAMAGE", "-extension", "MIT-SHM", "-extension", "RANDR"},
                   {kCompared, kCopied}}),
    [](const auto& test) { return std::string(test.param.name); });

// Screens whose pixels have to be converted.
struct DepthCase {
  const char* name;
  const char* screen;
  uint32_t red, green, blue, white;
  std::vector<std::string> options;
};

void PrintTo(const DepthCase& depth, std::ostream* out) {
  *out << depth.name;
}

class CaptureDepthsTest : public CaptureFixture, public testing::WithParamInterface<DepthCase> {};

TEST_P(CaptureDepthsTest, ColoursArriveAsTheyAre) {
  const DepthCase& depth = GetParam();
  startServer(depth.screen, depth.options);
  stream();
  desktop_->fill({{0, 0, 801, 601, depth.blue},
                  {100, 100, 50, 50, depth.red},
                  {800, 600, 1, 1, depth.green},
                  {0, 600, 1, 1, depth.white}});
  ASSERT_TRUE(output_->waitForPicture([](const PixelBuffer& picture) {
    return pixelAt(picture, 0, 0) == 0x0000ff && pixelAt(picture, 799, 599) == 0x0000ff &&
           pixelAt(picture, 100, 100) == 0xff0000 && pixelAt(picture, 149, 149) == 0xff0000 &&
           pixelAt(picture, 150, 150) == 0x0000ff && pixelAt(picture, 800, 600) == 0x00ff00 &&
           pixelAt(picture, 0, 600) == 0xffffff;
  }));
  EXPECT_EQ(output_->brokenPromises(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Depths, CaptureDepthsTest,
    testing::Values(DepthCase{"Sixteen", "801x601x16", 0xf800, 0x7e0, 0x1f, 0xffff, {}},
                    DepthCase{"Fifteen", "801x601x15", 0x7c00, 0x3e0, 0x1f, 0x7fff, {}},
                    DepthCase{"Thirty", "801x601x30", 0x3ff00000, 0xffc00, 0x3ff, 0x3fffffff, {}},
                    DepthCase{"SixteenWithoutSharedMemory",
                              "801x601x16",
                              0xf800,
                              0x7e0,
                              0x1f,
                              0xffff,
                              {"-extension", "MIT-SHM"}},
                    DepthCase{"ThirtyWithoutDamage",
                              "801x601x30",
                              0x3ff00000,
                              0xffc00,
                              0x3ff,
                              0x3fffffff,
                              {"-extension", "DAMAGE"}}),
    [](const auto& test) { return std::string(test.param.name); });

class CaptureServerQuirksTest : public CaptureFixture {
 protected:
  // Whether a segment that this process made is still there.
  static bool ownsSystemVSegment() {
    std::ifstream table("/proc/sysvipc/shm");
    std::string line;
    std::getline(table, line);  // headings: key shmid perms size cpid …
    long key = 0, id = 0, mode = 0, bytes = 0, maker = 0;
    while (std::getline(table, line)) {
      std::istringstream(line) >> key >> id >> mode >> bytes >> maker;
      if (maker == getpid()) return true;
    }
    return false;
  }
};

TEST_F(CaptureServerQuirksTest, APaletteScreenIsRefusedAtTheStart) {
  startServer("640x480x8");
  makeStream(configuration());
  const auto failed = start();
  ASSERT_TRUE(failed);
  EXPECT_EQ(
      failed->description,
      "the screen's visual is 8-bit pseudo-color; 16, 24 or 30 bits of true color are needed");
  EXPECT_TRUE(output_->samples().empty());
}

// Where no anonymous file can be had (here: because files may not grow), a System V segment does
// as well, and is not left behind.
TEST_F(CaptureServerQuirksTest, ASystemVSegmentServesInsteadOfAFile) {
  startServer("801x601x24");
  CaptureConfiguration wanted = configuration();
  wanted.showsCursor = false;
  signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight{4096, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  stream(wanted);
  desktop_->fill(5, 500, 10, 10, 0xff8800);
  EXPECT_TRUE(pictureBecomesTheScreen());
  EXPECT_TRUE(ownsSystemVSegment());
  stop();
  stream_ = nullptr;
  output_ = nullptr;
  capture_ = nullptr;
  setrlimit(RLIMIT_FSIZE, &before);
  server_->kill();
  EXPECT_FALSE(ownsSystemVSegment());
  EXPECT_TRUE(log_.lines().empty());
}

// Xvfb keeps its screen in a file on demand. Writing there changes pixels without the server
// knowing, as drivers do that draw past the damage reports.
TEST_F(CaptureServerQuirksTest, ChangesThatTheServerHidesAreFoundWhileOthersAreReported) {
  char folder[] = "/tmp/tovalin-x11-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  startServer("640x480x24", {"-fbdir", folder});
  desktop_->fill(0, 0, 640, 480, 0);
  stream();
  // Buffers that are used for the first time get all rows, hidden ones too: get over that.
  for (uint32_t number = 1; number <= 6; ++number) {
    desktop_->fill(10, 10, 5, 5, number);
    ASSERT_TRUE(pixelBecomes(10, 10, number));
  }
  const std::string path = std::string(folder) + "/Xvfb_screen0";
  const auto size = std::filesystem::file_size(path);
  const int fd = open(path.c_str(), O_RDWR);
  ASSERT_GE(fd, 0);
  auto* file =
      static_cast<uint8_t*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  close(fd);
  ASSERT_NE(file, MAP_FAILED);
  uint8_t* lastRow = file + size - 640 * 4;
  const uint32_t hidden = 0x00c0ffee;
  std::memcpy(lastRow, &hidden, sizeof hidden);
  msync(file, size, MS_SYNC);

  desktop_->fill(10, 10, 5, 5, 0xff);
  ASSERT_TRUE(pixelBecomes(0, 479, hidden));
  EXPECT_EQ(output_->newestDamage(), (std::vector<RowBand>{{479, 480}}));
  EXPECT_EQ(output_->brokenPromises(), 0);
  munmap(file, size);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace tovalin::test
