#include <gmock/gmock.h>

#include <api/video_codecs/video_codec.h>
#include <modules/video_coding/include/video_codec_interface.h>

#include <chrono>
#include <memory>

#include "tests/integration/webrtc/settling_encoder_fixture.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;

TEST_F(SettlingEncoderTest, RepeatsOfASettledPictureGoByAsIfTheyHadBeenEncoded) {
  settles();
  const size_t images = receiver_.images.size();
  EXPECT_FALSE(repeatComes());
  EXPECT_THAT(receiver_.images, SizeIs(images));
  EXPECT_EQ(receiver_.dropped, 0);
}

TEST_F(SettlingEncoderTest, ASettledPictureIsStillSentOnceASecond) {
  settles();
  const size_t images = receiver_.images.size();
  for (int i = 0; i < 20; ++i) repeatComes();
  EXPECT_THAT(receiver_.images, SizeIs(images + 10));
}

TEST_F(SettlingEncoderTest, AllRowsAreActiveUntilThePictureHasSettledAndThenNone) {
  for (int i = 0; i <= RefinementPlan::kSharpeningPictures; ++i) {
    ASSERT_TRUE(comes(i > 0));
    ASSERT_EQ(order_->rows, std::nullopt);
  }
  ASSERT_FALSE(repeatComes());
  ASSERT_TRUE(repeatComes());
  EXPECT_EQ(order_->rows, RowBand{});
}

TEST_F(SettlingEncoderTest, TheRowsOfAChangeAreActiveAndAllOfThemForAKeyFrame) {
  settles();
  now_ += 1us;
  EXPECT_EQ(encoder_->Encode(frameOf(buffer_, now_, {16, 36}), nullptr), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(order_->rows, (RowBand{16, 36}));
  EXPECT_TRUE(comes(true, {kKey}));
  EXPECT_EQ(order_->rows, std::nullopt);
}

TEST_F(SettlingEncoderTest, TheEncoderInsideIsToldOfNoRepeats) {
  settles();
  EXPECT_EQ(inner_.toldOfRepeats, 0);
}

TEST_F(SettlingEncoderTest, APictureWithoutARectangleCountsAsChanged) {
  settles();
  auto frame = frameOf(buffer_, now_ + 1us, {});
  frame.clear_update_rect();
  const size_t before = inner_.encodedUs.size();
  encoder_->Encode(frame, nullptr);
  EXPECT_THAT(inner_.encodedUs, SizeIs(before + 1));
}

TEST_F(SettlingEncoderTest, AChangeAfterTheSkipIsEncodedAtOnce) {
  settles();
  ASSERT_FALSE(repeatComes());
  EXPECT_TRUE(changeComes());
  EXPECT_EQ(receiver_.images.back().Timestamp(), timestampOf(now_));
}

TEST_F(SettlingEncoderTest, AKeyFrameRequestPassesToTheEncoderInsideAtOnce) {
  settles();
  inner_.makesKeyFrames = true;
  EXPECT_TRUE(comes(true, {kKey}));
  EXPECT_THAT(inner_.types.back(), ElementsAre(kKey));
  EXPECT_EQ(receiver_.images.back()._frameType, kKey);
}

TEST_F(SettlingEncoderTest, AKeyFrameThatTheEncoderMakesByItselfIsSharpenedAnew) {
  settles();
  ASSERT_FALSE(repeatComes());
  inner_.makesKeyFrames = true;
  ASSERT_TRUE(repeatComes());
  inner_.makesKeyFrames = false;
  EXPECT_TRUE(repeatComes());
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, AChangeThatTheEncoderInsideDropsIsMadeUpFor) {
  settles();
  inner_.drops = true;
  EXPECT_TRUE(changeComes());
  EXPECT_TRUE(repeatComes());
  inner_.drops = false;
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, AChangeThatTheEncoderInsideFailsOnIsMadeUpFor) {
  settles();
  inner_.result = WEBRTC_VIDEO_CODEC_ERROR;
  EXPECT_TRUE(changeComes());
  inner_.result = WEBRTC_VIDEO_CODEC_OK;
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, APictureThatStaysCoarseOrHidesItsQuantiserNeverSettles) {
  for (const int qp : {kCoarse, -1}) {
    inner_.qp = qp;
    ASSERT_TRUE(changeComes());
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(repeatComes());
  }
}

TEST_F(SettlingEncoderTest, ARepeatIsAskedForUntilThePictureIsSettled) {
  const auto requests = std::make_shared<Requests>();
  repeats_->add(requests);
  inner_.qp = kCoarse;
  changeComes();
  repeatComes();
  EXPECT_EQ(requests->count, 2);
  inner_.qp = kFinest;
  repeatComes();
  EXPECT_EQ(requests->count, 3) << "a single sharp picture is not as sharp as it gets";
  inner_.patches = order_->changeable = true;
  repeatComes();
  repeatComes();
  EXPECT_EQ(requests->count, 3);
}

TEST_F(SettlingEncoderTest, ARepeatIsAskedForWhenTheEncoderInsideDropsOrFails) {
  const auto requests = std::make_shared<Requests>();
  repeats_->add(requests);
  settles();
  const int before = requests->count;
  inner_.drops = true;
  changeComes();
  EXPECT_EQ(requests->count, before + 1);
  inner_.result = WEBRTC_VIDEO_CODEC_ERROR;
  changeComes();
  EXPECT_EQ(requests->count, before + 2);
}

TEST_F(SettlingEncoderTest, ASourceThatIsGoneIsAskedForNothing) {
  repeats_->add(std::make_shared<Requests>());
  inner_.qp = kCoarse;
  EXPECT_TRUE(changeComes());
}

TEST_F(SettlingEncoderTest, ANewStartAReleaseAndALossBeginAnew) {
  const webrtc::VideoEncoder::Settings settings(webrtc::VideoEncoder::Capabilities(false), 1, 1200);
  const webrtc::VideoCodec codec;
  settles();
  encoder_->InitEncode(&codec, settings);
  EXPECT_TRUE(repeatComes());
  settles();
  encoder_->Release();
  EXPECT_TRUE(repeatComes());
  settles();
  encoder_->OnLossNotification({});
  EXPECT_TRUE(repeatComes());
  EXPECT_THAT(inner_.calls, ElementsAre("init", "release", "loss notification"));
}

TEST_F(SettlingEncoderTest, EverythingElsePassesThrough) {
  encoder_->SetRates(Rates());
  encoder_->SetFecControllerOverride(nullptr);
  encoder_->OnPacketLossRateUpdate(0.1F);
  encoder_->OnRttUpdate(50);
  EXPECT_THAT(inner_.calls, ElementsAre("rates", "fec", "packet loss", "round trip"));
  EXPECT_EQ(encoder_->GetEncoderInfo().implementation_name, "fake");
  inner_.callback->OnDroppedFrame(webrtc::EncodedImageCallback::DropReason::kDroppedByEncoder);
  EXPECT_EQ(receiver_.dropped, 1);
  EXPECT_EQ(inner_.callback->OnEncodedImage({}, nullptr).frame_id, 7u);
  encoder_->RegisterEncodeCompleteCallback(nullptr);
  EXPECT_EQ(inner_.callback, nullptr);
}

}  // namespace
}  // namespace tovalin
