// The lines by which a picture's way can be followed.

#include "platform/webrtc/frame_trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/visit_fixture.h"
#include "tests/integration/webrtc/vp8_encoders.h"

namespace tovalin {
namespace {

using Numbers = std::vector<int64_t>;

class FrameTraceTest : public VisitTest {
 protected:
  FrameTraceTest() {
    library_ = makeWebRtcLibrary(file_);
    factory_ = library_->makeFactory(std::make_unique<Vp8Encoders>(*library_));
  }
  ~FrameTraceTest() override { std::filesystem::remove(file_); }

  // What was noted at a stage, by each line's first number.
  std::map<int64_t, Numbers> noted(const std::string& stage) const {
    std::map<int64_t, Numbers> found;
    std::ifstream lines(file_);
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string name;
      words >> name;
      if (name != stage) continue;
      Numbers numbers;
      for (int64_t number; words >> number;) numbers.push_back(number);
      EXPECT_TRUE(words.eof()) << line;
      found[numbers.at(0)] = numbers;
    }
    return found;
  }

  const std::string file_ = testing::TempDir() + "frame_trace." + std::to_string(getpid());
};

TEST_F(FrameTraceTest, APictureThatTheViewerSeesCanBeFollowedFromItsFirstChange) {
  constexpr PictureTimes kTimes{1001, 2002};
  connect();
  const auto picture = fourQuarters(640, 360);
  picture->setTimes(kTimes);
  ASSERT_TRUE(showUntil(picture, [](const SeenPicture& seen) {
    return seen.width == 640 && seen.shows(160, 90, kRed);
  }));

  const auto sources = noted("source");
  const auto encoders = noted("encoder");
  ASSERT_FALSE(encoders.empty());
  for (const auto& [microseconds, encoder] : encoders) {
    ASSERT_EQ(encoder.size(), 6u);
    ASSERT_TRUE(sources.contains(microseconds));
    const auto& source = sources.at(microseconds);
    ASSERT_EQ(source.size(), 5u);
    EXPECT_EQ(source[1], kTimes.noticed);
    EXPECT_EQ(source[2], kTimes.taken);
    EXPECT_LE(source[3], source[4]) << "its conversion begins before it ends";
    EXPECT_LE(source[4], encoder[2]) << "encoding begins once it is converted";
    EXPECT_LT(encoder[2], encoder[3]) << "encoding takes time";
    EXPECT_GT(encoder[4], 0) << "bytes";
    EXPECT_GE(encoder[5], 0) << "quantiser";
  }
}

TEST(FrameTraceFileTest, WithoutANameOrAPlaceNothingIsWritten) {
  FrameTrace nameless{std::string()};
  nameless.fellBehind(1);
  nameless.ahead(1, 2, 3, 4);
  FrameTrace homeless("/nowhere/at/all");
  homeless.fellBehind(1);
  EXPECT_FALSE(std::filesystem::exists("/nowhere/at/all"));
}

TEST(FrameTraceFileTest, AFileOfAnEarlierRunIsReplaced) {
  const std::string file = testing::TempDir() + "frame_trace.again." + std::to_string(getpid());
  std::ofstream(file) << "old\n";
  FrameTrace(file).fellBehind(42);
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  std::filesystem::remove(file);
  EXPECT_EQ(text.str(), "behind 42\n");
}

}  // namespace
}  // namespace tovalin
