#include "platform/webrtc/video_encoders.h"

#include <gmock/gmock.h>

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>

#include <string>

#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/vp8_encoders.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Offers one codec with a parameter, makes encoders of its own or none.
class OddEncoders final : public RtcVideoEncoderFactory {
 public:
  explicit OddEncoders(bool makesForeign) : makesForeign_(makesForeign) {}

  std::vector<VideoCodecInfo> supportedCodecs() const override {
    return {{"VP8", {{"level", "7"}}}};
  }
  std::unique_ptr<RtcVideoEncoder> createEncoder(const VideoCodecInfo&) override {
    return makesForeign_ ? std::make_unique<RtcVideoEncoder>() : nullptr;
  }

 private:
  const bool makesForeign_;
};

class VideoEncodersTest : public testing::TestWithParam<const char*> {};

TEST_P(VideoEncodersTest, AnyCodecDescriptionYieldsTheLibrarysVp8) {
  const auto library = makeWebRtcLibrary();
  const auto bridge = bridgeEncoders(std::make_unique<Vp8Encoders>(*library));
  const auto encoder = bridge->CreateVideoEncoder(webrtc::SdpVideoFormat(GetParam()));
  ASSERT_TRUE(encoder);
  EXPECT_EQ(encoder->GetEncoderInfo().implementation_name, "libvpx");
}

INSTANTIATE_TEST_SUITE_P(OfAllNames, VideoEncodersTest,
                         testing::Values("VP8", "VP9", "H264", "AV1", "", "nonsense"));

TEST(VideoEncoderBridgeTest, TheLibraryReportsVp8WithoutParameters) {
  EXPECT_THAT(makeWebRtcLibrary()->vp8Codecs(), ElementsAre(VideoCodecInfo{"VP8", {}}));
}

TEST(VideoEncoderBridgeTest, CodecDescriptionsPassThroughUnchanged) {
  const auto formats = bridgeEncoders(std::make_unique<OddEncoders>(false))->GetSupportedFormats();
  ASSERT_EQ(formats.size(), 1u);
  EXPECT_EQ(formats[0].name, "VP8");
  EXPECT_THAT(formats[0].parameters, ElementsAre(testing::Pair("level", "7")));
}

TEST(VideoEncoderBridgeTest, AMissingOrForeignEncoderIsNone) {
  const webrtc::SdpVideoFormat vp8("VP8");
  EXPECT_FALSE(bridgeEncoders(std::make_unique<OddEncoders>(false))->CreateVideoEncoder(vp8));
  EXPECT_FALSE(bridgeEncoders(std::make_unique<OddEncoders>(true))->CreateVideoEncoder(vp8));
}

}  // namespace
}  // namespace tovalin
