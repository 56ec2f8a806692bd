// What a session says to the server and to its owner, and what it makes of the viewer's signals.

#include "tests/unit/peer/session_fixture.h"

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

class WebRTCSessionSignalsTest : public SessionTest {
 protected:
  void iceBecomes(IceConnectionState state) {
    connection().iceBecomes(state);
    queue.run();
  }
};

using WebRTCSessionSignalsDeathTest = WebRTCSessionSignalsTest;

TEST_F(WebRTCSessionSignalsTest, SendsTheOfferRightAfterAskingForTheLocalDescription) {
  start();
  EXPECT_THAT(signalled(), IsEmpty());
  connection().producesOffer("v=0 mine");
  ASSERT_EQ(connection().localDescriptions().size(), 1u);
  EXPECT_EQ(connection().localDescriptions()[0].type, SdpType::offer);
  EXPECT_EQ(connection().localDescriptions()[0].sdp, "v=0 mine");
  EXPECT_THAT(signalled(), ElementsAre(offerMessage("v=0 mine")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, LogsWhyAnOfferFailedAndSendsNothing) {
  start();
  connection().failsOffer(Error{"no transceiver"});
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] offer failed: no transceiver"));
  EXPECT_THAT(connection().localDescriptions(), IsEmpty());
  EXPECT_THAT(signalled(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, LogsAQuestionMarkForAnOfferThatFailedWithoutAReason) {
  start();
  connection().failsOffer(std::nullopt);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] offer failed: ?"));
}

TEST_F(WebRTCSessionSignalsTest, LogsAnOfferThatComesForASessionAlreadyReleased) {
  start();
  session.reset();
  connection().producesOffer();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] offer failed: ?"));
  EXPECT_THAT(signalled(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, SendsEveryLocalCandidateAtOnce) {
  start();
  connection().gathers({"candidate:1", 0, "0"});
  connection().gathers({"candidate:2", 1, std::nullopt});
  EXPECT_THAT(signalled(),
              ElementsAre(iceMessage({"candidate:1", 0, "0"}), iceMessage({"candidate:2", 1, ""})));
}

TEST_F(WebRTCSessionSignalsTest, AppliesTheAnswerAndReportsItAccepted) {
  start();
  viewerSignals(R"({"type":"answer","sdp":"v=0 theirs"})");
  ASSERT_EQ(connection().remoteDescriptions().size(), 1u);
  EXPECT_EQ(connection().remoteDescriptions()[0].type, SdpType::answer);
  EXPECT_EQ(connection().remoteDescriptions()[0].sdp, "v=0 theirs");
  EXPECT_THAT(signalled(), IsEmpty());
  connection().acceptsAnswer();
  EXPECT_THAT(signalled(), ElementsAre(diagnosticMessage("answer-accepted")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, ReportsARejectedAnswerAndStaysOpen) {
  start();
  viewerAnswers();
  connection().rejectsAnswer("bad m-line");
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] setRemote failed: bad m-line"));
  EXPECT_THAT(signalled(), ElementsAre(diagnosticMessage("answer-REJECTED bad m-line")));
  EXPECT_FALSE(connection().isClosed());
  queue.run();
  EXPECT_THAT(owner->reports, IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, SaysNothingOfAnAnswerOnceReleased) {
  start();
  viewerAnswers();
  session.reset();
  connection().rejectsAnswer("too late");
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(signalled(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, AddsCandidatesAsTheyArriveEvenBeforeTheAnswer) {
  start();
  viewerSignals(R"({"type":"ice","candidate":"candidate:1","sdpMLineIndex":1,"sdpMid":"data"})");
  viewerAnswers();
  viewerSignals(R"({"type":"ice","candidate":"candidate:2","sdpMLineIndex":0,"sdpMid":""})");
  EXPECT_THAT(connection().candidates(), ElementsAre(IceCandidate{"candidate:1", 1, "data"},
                                                     IceCandidate{"candidate:2", 0, ""}));
}

TEST_F(WebRTCSessionSignalsTest, ACandidatesIndexIsZeroAndItsMediaIdAbsentUnlessWellFormed) {
  const std::vector<std::pair<const char*, IceCandidate>> cases = {
      {R"({})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":2.0})", {"c", 2, std::nullopt}},
      {R"({"sdpMLineIndex":1.5})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":4294967296.5})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":"1"})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":true})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":null})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":[1]})", {"c", 0, std::nullopt}},
      {R"({"sdpMLineIndex":-1})", {"c", -1, std::nullopt}},
      {R"({"sdpMLineIndex":2147483647})", {"c", 2147483647, std::nullopt}},
      {R"({"sdpMLineIndex":-2147483648})", {"c", -2147483647 - 1, std::nullopt}},
      {R"({"sdpMid":"audio"})", {"c", 0, "audio"}},
      {R"({"sdpMid":0})", {"c", 0, std::nullopt}},
      {R"({"sdpMid":null})", {"c", 0, std::nullopt}},
  };
  start();
  for (const auto& [fields, candidate] : cases) {
    json message{{"type", "ice"}, {"candidate", "c"}};
    message.update(json::parse(fields));
    session->handleSignal(message);
    EXPECT_EQ(connection().candidates().back(), candidate) << fields;
  }
  EXPECT_EQ(connection().candidates().size(), cases.size());
}

TEST_F(WebRTCSessionSignalsDeathTest, ACandidateIndexBeyond32BitsEndsTheProcess) {
  start();
  for (const char* index : {"2147483648", "-2147483649", "4294967296", "18446744073709551615",
                            "99999999999999999999", "2147483648.0", "1e300"}) {
    const auto message =
        json::parse(std::string(R"({"type":"ice","candidate":"c","sdpMLineIndex":)") + index + "}");
    EXPECT_DEATH(session->handleSignal(message), "ICE candidate index beyond 32 bits") << index;
  }
}

TEST_F(WebRTCSessionSignalsDeathTest, ACandidateIndexBeyond32BitsEndsTheProcessBeforeStartToo) {
  EXPECT_DEATH(viewerSignals(R"({"type":"ice","candidate":"c","sdpMLineIndex":4294967296})"),
               "ICE candidate index beyond 32 bits");
}

TEST_F(WebRTCSessionSignalsTest, IgnoresMalformedAndUnknownSignals) {
  start();
  for (const char* message : {
           R"({})",
           R"({"type":7,"sdp":"v=0"})",
           R"({"type":"Answer","sdp":"v=0"})",
           R"({"type":"ICE","candidate":"c"})",
           R"({"type":"offer","sdp":"v=0"})",
           R"({"type":"answer"})",
           R"({"type":"answer","sdp":7})",
           R"({"type":"answer","SDP":"v=0"})",
           R"({"type":"ice"})",
           R"({"type":"ice","candidate":null})",
           R"({"type":"ice","candidate":{"candidate":"c"}})",
           R"({"type":"ice","sdpMLineIndex":4294967296})",
           R"([{"type":"answer","sdp":"v=0"}])",
           R"("answer")",
           R"(null)",
       }) {
    viewerSignals(message);
    EXPECT_THAT(connection().remoteDescriptions(), IsEmpty()) << message;
    EXPECT_THAT(connection().candidates(), IsEmpty()) << message;
  }
  EXPECT_THAT(signalled(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, DropsSignalsBeforeStartAndAfterClose) {
  viewerAnswers();
  viewerSignals(R"({"type":"ice","candidate":"c"})");
  start();
  session->close();
  viewerAnswers();
  viewerSignals(R"({"type":"ice","candidate":"c"})");
  EXPECT_THAT(connection().remoteDescriptions(), IsEmpty());
  EXPECT_THAT(connection().candidates(), IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, ReportsEveryIceStateByNumberAndTellsItsOwnerWhatCounts) {
  const std::vector<std::tuple<IceConnectionState, const char*, std::vector<bool>>> cases = {
      {IceConnectionState::fresh, "ice-state 0", {}},
      {IceConnectionState::checking, "ice-state 1", {}},
      {IceConnectionState::connected, "ice-state 2", {true}},
      {IceConnectionState::completed, "ice-state 3", {true}},
      {IceConnectionState::failed, "ice-state 4", {false}},
      {IceConnectionState::disconnected, "ice-state 5", {false}},
      {IceConnectionState::closed, "ice-state 6", {false}},
  };
  start();
  for (const auto& [state, text, reports] : cases) {
    owner->reports.clear();
    iceBecomes(state);
    EXPECT_EQ(signalled().back(), diagnosticMessage(text));
    EXPECT_EQ(owner->reports, reports) << text;
  }
  EXPECT_EQ(signalled().size(), cases.size());
}

TEST_F(WebRTCSessionSignalsTest, TellsItsOwnerOnTheMainQueue) {
  start();
  connection().iceBecomes(IceConnectionState::connected);
  EXPECT_THAT(owner->reports, IsEmpty());
  queue.run();
  EXPECT_THAT(owner->reports, ElementsAre(true));
  EXPECT_EQ(owner->reporter, session.get());
}

TEST_F(WebRTCSessionSignalsTest, RepeatsItselfWhenConnectedThenCompletedAndDisconnectedThenFailed) {
  start();
  iceBecomes(IceConnectionState::connected);
  iceBecomes(IceConnectionState::completed);
  iceBecomes(IceConnectionState::disconnected);
  iceBecomes(IceConnectionState::failed);
  EXPECT_THAT(owner->reports, ElementsAre(true, true, false, false));
}

TEST_F(WebRTCSessionSignalsTest, TellsNothingOnceReleased) {
  start();
  connection().iceBecomes(IceConnectionState::connected);
  session.reset();
  queue.run();
  EXPECT_THAT(owner->reports, IsEmpty());
}

TEST_F(WebRTCSessionSignalsTest, ReportsChannelStatesByLabelAndNumber) {
  start();
  hostChannel()->becomes(DataChannelState::open);
  const auto theirs = connection().viewerOpensChannel("viewer's own");
  theirs->becomes(DataChannelState::connecting);
  theirs->becomes(DataChannelState::closing);
  hostChannel()->becomes(DataChannelState::closed);
  EXPECT_THAT(server().diagnostics(),
              ElementsAre("datachannel-input-state-1", "datachannel-viewer's own-state-0",
                          "datachannel-viewer's own-state-2", "datachannel-input-state-3"));
}

TEST_F(WebRTCSessionSignalsTest, WorksOnWithoutASignalClient) {
  owner->client.reset();
  start();
  connection().producesOffer();
  connection().gathers({"candidate:1", 0, "0"});
  viewerAnswers();
  connection().acceptsAnswer();
  hostChannel()->becomes(DataChannelState::open);
  iceBecomes(IceConnectionState::connected);
  EXPECT_EQ(connection().localDescriptions().size(), 1u);
  EXPECT_THAT(owner->reports, ElementsAre(true));
}

TEST_F(WebRTCSessionSignalsTest, WorksOnWithoutAnOwner) {
  start();
  owner->client.reset();
  owner.reset();
  connection().producesOffer();
  connection().gathers({"candidate:1", 0, "0"});
  viewerAnswers();
  connection().rejectsAnswer("no");
  hostChannel()->becomes(DataChannelState::open);
  hostChannel()->viewerSends(R"({"t":"m"})");
  iceBecomes(IceConnectionState::connected);
  EXPECT_EQ(connection().localDescriptions().size(), 1u);
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] setRemote failed: no"));
}

TEST_F(WebRTCSessionSignalsTest, DropsAnOfferWhoseTextIsNotUtf8) {
  start();
  connection().producesOffer("v=0 \xFF");
  EXPECT_THAT(signalled(), IsEmpty());
}

}  // namespace
}  // namespace tovalin
