#include "peer/vp8_only_encoder_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_rtc.h"

namespace tovalin {
namespace {

using testing::IsEmpty;

class VP8OnlyEncoderFactoryTest : public testing::Test {
 protected:
  fake::FakeRtcLibrary library;
  VP8OnlyEncoderFactory factory{library};
};

TEST_F(VP8OnlyEncoderFactoryTest, ListsTheLibrarysVp8DescriptionsUnchanged) {
  library.codecs = {{"VP8", {{"scalability", "L1T1"}}}, {"VP8", {}}};
  EXPECT_EQ(factory.supportedCodecs(), library.codecs);
}

TEST_F(VP8OnlyEncoderFactoryTest, ListsNothingWhenTheLibraryHasNoVp8) {
  library.codecs.clear();
  EXPECT_THAT(factory.supportedCodecs(), IsEmpty());
}

TEST_F(VP8OnlyEncoderFactoryTest, MakesAFreshVp8EncoderForAnyDescription) {
  const auto first = factory.createEncoder({"VP8", {}});
  for (const auto& codec : {VideoCodecInfo{"VP8", {{"x", "y"}}}, VideoCodecInfo{"H264", {}},
                            VideoCodecInfo{"AV1", {}}, VideoCodecInfo{"", {}}}) {
    const auto encoder = factory.createEncoder(codec);
    EXPECT_NE(dynamic_cast<fake::FakeVideoEncoder*>(encoder.get()), nullptr) << codec.name;
    EXPECT_NE(encoder.get(), first.get()) << codec.name;
  }
  EXPECT_EQ(library.journal.entries(), std::vector<std::string>(5, "makeVp8Encoder"));
}

}  // namespace
}  // namespace tovalin
