// What a session builds, feeds and tears down.

#include <algorithm>

#include "tests/unit/peer/session_fixture.h"

namespace tovalin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using WebRTCSessionTest = SessionTest;

TEST_F(WebRTCSessionTest, CreatesNothingBeforeItStarts) {
  EXPECT_THAT(library.journal.entries(), IsEmpty());
  EXPECT_THAT(signalled(), IsEmpty());
}

TEST_F(WebRTCSessionTest, BuildsTrackAndInputChannelBeforeItAsksForTheOffer) {
  start();
  EXPECT_THAT(
      library.journal.entries(),
      ElementsAre("initializeSsl", "makeFactory", "createPeerConnection", "createVideoSource",
                  "createVideoTrack tovalin-screen", "peerConnection.addTrack",
                  "peerConnection.createDataChannel input", "peerConnection.makeOffer"));
  const auto tracks = connection().tracks();
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_THAT(tracks[0].streamIds, ElementsAre("tovalin"));
  const auto& track = dynamic_cast<const fake::FakeVideoTrack&>(*tracks[0].track);
  EXPECT_EQ(track.id, "tovalin-screen");
  EXPECT_EQ(track.source.get(), &library.latestSource());
}

TEST_F(WebRTCSessionTest, EncodesWithVp8Alone) {
  library.codecs = {{"VP8", {{"as", "given"}}}};
  start();
  ASSERT_NE(library.encoders, nullptr);
  EXPECT_EQ(library.encoders->supportedCodecs(), library.codecs);
}

TEST_F(WebRTCSessionTest, SecondSessionReusesTheFactory) {
  start();
  session->close();
  makeSession();
  start();
  const auto calls = library.journal.entries();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "initializeSsl"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "makeFactory"), 1);
  EXPECT_EQ(library.connections(), 2u);
}

TEST_F(WebRTCSessionTest, WithoutRelaysUsesTheDefaultStunServerAlone) {
  start();
  EXPECT_THAT(connection().configuration.iceServers,
              ElementsAre(IceServer{{"stun:stun.example:19302"}, "", ""}));
}

TEST_F(WebRTCSessionTest, UsableRelaysFollowTheStunServerInTheirOrder) {
  startWithRelays(R"([
    {"urls": ["turn:a", "turns:a"], "username": "u", "credential": "c"},
    {"username": "no urls"},
    {"urls": []},
    {"urls": "turn:single"},
    {"urls": ["turn:b", 7]},
    {"urls": ["turn:c"]},
    {"urls": ["turn:d"], "username": 7, "credential": null, "more": true}
  ])");
  EXPECT_THAT(connection().configuration.iceServers,
              ElementsAre(IceServer{{"stun:stun.example:19302"}, "", ""},
                          IceServer{{"turn:a", "turns:a"}, "u", "c"}, IceServer{{"turn:c"}, "", ""},
                          IceServer{{"turn:d"}, "", ""}));
}

TEST_F(WebRTCSessionTest, ReadsNoIceServerFromValuesThatAreNoObjects) {
  using nlohmann::json;
  EXPECT_THAT(WebRTCSession::parseIceServers(
                  {json(), json(7), json("urls"), json::array({"turn:a"}), json(true)}),
              IsEmpty());
}

TEST_F(WebRTCSessionTest, StaysIdleWhenTheLibraryRefusesTheConnection) {
  library.refusesConnections = true;
  start();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] failed to create peer connection"));
  EXPECT_THAT(library.journal.entries(),
              ElementsAre("initializeSsl", "makeFactory", "createPeerConnection"));
  viewerAnswers();
  viewerSignals(R"({"type":"ice","candidate":"candidate:1"})");
  session->push(std::make_shared<StillPicture>());
  session->close();
  queue.run();
  EXPECT_THAT(signalled(), IsEmpty());
  EXPECT_THAT(owner->reports, IsEmpty());
}

TEST_F(WebRTCSessionTest, OffersWithoutAnInputChannelWhenTheLibraryRefusesOne) {
  library.refusesDataChannels = true;
  start();
  connection().producesOffer("v=0");
  EXPECT_THAT(signalled(), ElementsAre(offerMessage("v=0")));
  session->close();
}

TEST_F(WebRTCSessionTest, PushesThePictureItselfWithTheTimeOfThePush) {
  start();
  const auto picture = std::make_shared<StillPicture>();
  queue.advance(1.25);
  session->push(picture);
  queue.advance(1);
  session->push(picture);
  const auto frames = library.latestSource().frames();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].pixelBuffer, picture);
  EXPECT_EQ(frames[0].timestampNs, 1'250'000'000);
  EXPECT_EQ(frames[1].timestampNs, 2'250'000'000);
}

TEST_F(WebRTCSessionTest, DropsPicturesBeforeStartAndAfterClose) {
  session->push(std::make_shared<StillPicture>());
  start();
  session->close();
  session->push(std::make_shared<StillPicture>());
  EXPECT_THAT(library.latestSource().frames(), IsEmpty());
}

TEST_F(WebRTCSessionTest, ClosesTheChannelBeforeTheConnection) {
  start();
  session->close();
  auto calls = library.journal.entries();
  calls.erase(calls.begin(), calls.end() - 2);
  EXPECT_THAT(calls, ElementsAre("dataChannel.close input", "peerConnection.close"));
  EXPECT_THAT(connection().dataChannels(), IsEmpty()) << "a closed session holds on to nothing";
}

TEST_F(WebRTCSessionTest, ClosesOnlyTheViewersChannelOnceThatHasReplacedItsOwn) {
  start();
  connection().viewerOpensChannel("viewer");
  session->close();
  const auto calls = library.journal.entries();
  EXPECT_THAT(calls, Contains("dataChannel.close viewer"));
  EXPECT_THAT(calls, Not(Contains("dataChannel.close input")));
  EXPECT_TRUE(connection().isClosed());
}

TEST_F(WebRTCSessionTest, ClosingTellsNeitherOwnerNorServer) {
  start();
  session->close();
  queue.run();
  EXPECT_THAT(owner->reports, IsEmpty());
  EXPECT_THAT(signalled(), IsEmpty());
}

TEST_F(WebRTCSessionTest, CanBeClosedBeforeStartAndTwice) {
  session->close();
  start();
  session->close();
  session->close();
  const auto calls = library.journal.entries();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "peerConnection.close"), 1);
}

}  // namespace
}  // namespace tovalin
