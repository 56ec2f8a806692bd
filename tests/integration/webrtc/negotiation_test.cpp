// What host and viewer agree on, and what the host makes of a viewer that talks nonsense.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/integration/webrtc/visit_fixture.h"

namespace tovalin {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> linesStarting(const std::string& sdp, const std::string& prefix) {
  std::vector<std::string> found;
  std::istringstream lines(sdp);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind(prefix, 0) == 0) found.push_back(line);
  }
  return found;
}

std::set<std::string> codecNames(const std::string& sdp) {
  std::set<std::string> names;
  for (const std::string& line : linesStarting(sdp, "a=rtpmap:")) {
    const size_t name = line.find(' ') + 1;
    names.insert(line.substr(name, line.find('/') - name));
  }
  return names;
}

// A UDP socket on the loopback that listens and never answers.
class SilentServer {
 public:
  SilentServer() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* any = reinterpret_cast<sockaddr*>(&address);
    if (socket_ < 0 || ::bind(socket_, any, size) != 0 || ::getsockname(socket_, any, &size) != 0) {
      throw std::runtime_error("no UDP socket on the loopback");
    }
    port_ = ntohs(address.sin_port);
  }
  ~SilentServer() { ::close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  std::string url() const { return "stun:127.0.0.1:" + std::to_string(port_); }

 private:
  int socket_;
  uint16_t port_ = 0;
};

using NegotiationTest = VisitTest;

TEST_F(NegotiationTest, OfferListsVp8AndItsCompanionsOnly) {
  hostStarts();
  EXPECT_THAT(codecNames(hostOffers()),
              testing::UnorderedElementsAre("VP8", "rtx", "red", "ulpfec"));
}

TEST_F(NegotiationTest, OfferHasOneVideoAndOneDataSectionAndNoAudio) {
  hostStarts();
  const std::string offer = hostOffers();
  const auto sections = linesStarting(offer, "m=");
  ASSERT_EQ(sections.size(), 2u) << offer;
  EXPECT_THAT(sections[0], HasSubstr("m=video "));
  EXPECT_THAT(sections[1], HasSubstr("m=application "));
}

TEST_F(NegotiationTest, OfferNamesTheScreenTrackInItsStream) {
  hostStarts();
  EXPECT_THAT(linesStarting(hostOffers(), "a=msid:"), ElementsAre("a=msid:tovalin tovalin-screen"));
}

TEST_F(NegotiationTest, ViewerSeesTheTrackAndItsStream) {
  connect();
  board_.read([&] { EXPECT_THAT(viewer_->notes().streamIds, ElementsAre("tovalin")); });
}

TEST_F(NegotiationTest, PlayoutDelayIsNegotiated) {
  hostStarts();
  viewerComes();
  const std::string answer = viewer_->answer(hostOffers());
  EXPECT_THAT(answer, HasSubstr("playout-delay"));
}

TEST_F(NegotiationTest, IceGoesFromCheckingToConnectedAndClosesWithTheConnection) {
  connect();
  connection_->close();
  board_.read([&] {
    const auto& ice = host_->notes.ice;
    ASSERT_GE(ice.size(), 3u);
    EXPECT_EQ(ice.front(), IceConnectionState::checking);
    EXPECT_EQ(ice[1], IceConnectionState::connected);
    EXPECT_EQ(ice.back(), IceConnectionState::closed);
  });
}

TEST_F(NegotiationTest, IceIsDisconnectedOrFailedWhenTheViewerVanishes) {
  connect();
  viewer_.reset();
  EXPECT_TRUE(board_.waitUntil([&] {
    const auto last = host_->notes.ice.back();
    return last == IceConnectionState::disconnected || last == IceConnectionState::failed;
  }));
}

TEST_F(NegotiationTest, CandidatesNameTheirMediaSection) {
  hostStarts();
  hostOffers();
  ASSERT_TRUE(board_.waitUntil([&] { return !host_->notes.candidates.empty(); }));
  board_.read([&] {
    for (const IceCandidate& candidate : host_->notes.candidates) {
      EXPECT_THAT(candidate.candidate, testing::StartsWith("candidate:"));
      EXPECT_EQ(candidate.sdpMid, std::to_string(candidate.sdpMLineIndex));
    }
  });
}

TEST_F(NegotiationTest, CandidatesBeforeTheAnswerAreBorne) {
  hostStarts();
  viewerComes();
  const std::string answer = viewer_->answer(hostOffers());
  ASSERT_TRUE(board_.waitUntil([&] { return !viewer_->notes().candidates.empty(); }));
  for (const IceCandidate& candidate : viewer_->takeCandidates()) {
    connection_->addIceCandidate(candidate);
  }
  EXPECT_EQ(hostRefuses(answer), "");
  // The viewer's checks reach the host even if the library threw those candidates away.
  EXPECT_TRUE(trickleUntil([&] { return viewer_->notes().connected; }));
}

TEST_F(NegotiationTest, ASilentStunServerDoesNotDelayAVisit) {
  SilentServer stun;
  hostStarts({{{{stun.url()}, "", ""}}});
  viewerComes();
  ASSERT_EQ(hostRefuses(viewer_->answer(hostOffers())), "");
  // The library gives a silent server up after more than nine seconds.
  EXPECT_TRUE(trickleUntil([&] { return viewer_->notes().connected; }, std::chrono::seconds(5)));
}

struct BadAnswer {
  const char* name;
  const char* sdp;
};

class BadAnswers : public VisitTest, public testing::WithParamInterface<BadAnswer> {};

TEST_P(BadAnswers, AreRefusedWithAReasonAndAGoodOneStillWorks) {
  hostStarts();
  viewerComes();
  const std::string good = viewer_->answer(hostOffers());
  EXPECT_THAT(hostRefuses(GetParam().sdp), AllOf(Not(IsEmpty()), Not("no reason given")));
  EXPECT_EQ(hostRefuses(good), "");
  EXPECT_TRUE(trickleUntil([&] { return viewer_->notes().connected; }));
}

constexpr char kSessionOnly[] = "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n";
constexpr char kAudioOnly[] =
    "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n"
    "m=audio 9 UDP/TLS/RTP/SAVPF 111\r\nc=IN IP4 0.0.0.0\r\na=mid:0\r\na=recvonly\r\n"
    "a=ice-ufrag:abcd\r\na=ice-pwd:abcdefghijklmnopqrstuvwx\r\n"
    "a=rtpmap:111 opus/48000/2\r\n";
constexpr char kNoSecurity[] =
    "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n"
    "m=video 9 UDP/TLS/RTP/SAVPF 96\r\nc=IN IP4 0.0.0.0\r\na=mid:0\r\na=recvonly\r\n"
    "a=rtpmap:96 VP8/90000\r\n"
    "m=application 9 UDP/DTLS/SCTP webrtc-datachannel\r\nc=IN IP4 0.0.0.0\r\na=mid:1\r\n";

INSTANTIATE_TEST_SUITE_P(OfAllKinds, BadAnswers,
                         testing::Values(BadAnswer{"Empty", ""}, BadAnswer{"Words", "good evening"},
                                         BadAnswer{"HalfALine", "v="},
                                         BadAnswer{"VersionOnly", "v=0\r\n"},
                                         BadAnswer{"BinaryBytes", "\x01\x02\xff\xfe"},
                                         BadAnswer{"NoSections", kSessionOnly},
                                         BadAnswer{"OtherSections", kAudioOnly},
                                         BadAnswer{"NoSecurity", kNoSecurity}),
                         [](const auto& chosen) { return chosen.param.name; });

TEST_F(NegotiationTest, AnAnswerBeforeTheOfferIsRefused) {
  hostStarts();
  EXPECT_THAT(hostRefuses(kNoSecurity), AllOf(Not(IsEmpty()), Not("no reason given")));
}

TEST_F(NegotiationTest, MalformedCandidatesAreBorne) {
  hostStarts();
  viewerComes();
  ASSERT_EQ(hostRefuses(viewer_->answer(hostOffers())), "");
  const std::string wellFormed =
      "candidate:1 1 udp 2122260223 127.0.0.1 9 typ host generation 0 ufrag x";
  for (const IceCandidate& candidate : std::vector<IceCandidate>{
           {"", 0, "0"},
           {"candidate:", 0, "0"},
           {"good evening", 0, "0"},
           {"candidate:1 1 udp 2122260223 127.0.0.1 99999 typ host", 0, "0"},
           {"candidate:1 1 udp -1 127.0.0.1 9 typ host", 0, "0"},
           {"candidate:1 1 carrier-pigeon 1 127.0.0.1 9 typ host", 0, "0"},
           {"candidate:1 1 udp 1 127.0.0.1 9 typ guest", 0, "0"},
           {wellFormed, 0, "no such section"},
           {wellFormed, 7, std::nullopt},
           {wellFormed, 2147483647, std::nullopt},
           {wellFormed, -1, std::nullopt},
           {wellFormed, -2147483647 - 1, ""},
           {std::string("\x00\x01\xff", 3), 0, "0"},
           {std::string(100000, 'x'), 0, "0"},
       }) {
    connection_->addIceCandidate(candidate);
  }
  EXPECT_TRUE(trickleUntil([&] { return viewer_->notes().connected; }));
}

class BadIceServers : public VisitTest, public testing::WithParamInterface<const char*> {};

TEST_P(BadIceServers, AreRefused) {
  const auto observer = std::make_shared<HostObserver>(board_);
  EXPECT_FALSE(factory_->createPeerConnection({{{{GetParam()}, "", ""}}}, observer));
}

INSTANTIATE_TEST_SUITE_P(OfAllKinds, BadIceServers,
                         testing::Values("", "stun", "stun:", ":", "http://127.0.0.1",
                                         "stun:127.0.0.1:99999", "stun:127.0.0.1:port",
                                         "stun:user@127.0.0.1", "turn:127.0.0.1:3478",
                                         "turn:127.0.0.1?transport=pigeon", "stun:[::1"));

TEST_F(NegotiationTest, AllGoodKindsOfIceServersAreAccepted) {
  const auto observer = std::make_shared<HostObserver>(board_);
  EXPECT_TRUE(factory_->createPeerConnection(
      {{{{"stun:127.0.0.1:19302"}, "", ""},
        {{"stun:127.0.0.1", "stuns:127.0.0.1"}, "", ""},
        {{"turn:127.0.0.1:3478?transport=udp", "turns:127.0.0.1:5349?transport=tcp"}, "me", "my"}}},
      observer));
}

}  // namespace
}  // namespace tovalin
