// A text frame from the signalling server: the parser and the readers, then the whole way through
// the client and into a running session.

#include <limits>

#include "peer/webrtc_session.h"
#include "platform/fatal.h"
#include "signalling/messages.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_rtc.h"
#include "tests/fakes/fake_system.h"
#include "tests/fakes/fake_web_socket.h"

namespace tovalin {
namespace {

constexpr size_t kLongestFrame = 64 * 1024;

void require(bool holds, const char* what) {
  if (!holds) fatal(what);
}

// A candidate index beyond 32 bits ends the process on purpose.
bool isDeliberateStop(const SignalMessage& message) {
  using Limits = std::numeric_limits<int32_t>;
  const double index = wholeNumberField(message, "sdpMLineIndex").value_or(0);
  return index < Limits::min() || index > Limits::max();
}

void readEverything(const SignalMessage& message) {
  require(message.is_object(), "parsed something other than an object");
  const auto again = parseMessage(message.dump());
  require(again && *again == message, "a message does not survive being sent on");

  require(messageType(message) == stringField(message, "type"), "two readings of the type");
  for (const char* key : {"pin", "pairToken", "deviceName", "sdp", "candidate", "sdpMid", ""}) {
    const auto text = stringField(message, key);
    require(!text || message.at(key) == *text, "a field reads otherwise than it stands");
  }
  const auto relays = iceServerList(message);
  const auto servers = WebRTCSession::parseIceServers(relays);
  require(servers.size() <= relays.size(), "more relay servers than were listed");
  for (const auto& server : servers) require(!server.urls.empty(), "a relay server without URL");
}

// The host, as far as signalling goes.
struct Host : SignalClientDelegate {
  void signalReceived(const SignalMessage& message) override {
    received = message;
    if (!isDeliberateStop(message)) session->handleSignal(message);
  }
  void signalDisconnected() override { fatal("a frame ended the connection"); }

  std::shared_ptr<WebRTCSession> session;
  std::optional<SignalMessage> received;
};

void sendThroughTheClient(const std::string& frame, const std::optional<SignalMessage>& parsed) {
  fake::FakeMainQueue queue;
  fake::FakeWebSockets sockets;
  fake::FakeSystemLog log;
  fake::FakeRtcLibrary library;
  const auto host = std::make_shared<Host>();
  host->session =
      WebRTCSession::create(std::make_shared<WebRTCProcess>(queue, log, library, "127.0.0.1"),
                            parsed ? iceServerList(*parsed) : std::vector<nlohmann::json>());
  host->session->start();
  const auto client = SignalClient::create(queue, sockets, Url{"ws://server"}, byeMessage());
  client->setDelegate(host);
  client->open();

  sockets.latest().serverSends(frame);
  queue.run();
  require(host->received == parsed, "delivered otherwise than parsed");
  require(sockets.latest().isReceiving(), "a frame ended the receive loop");

  // The same bytes on the data channel are input; here nobody handles it.
  library.latest().dataChannels().at(0)->viewerSends(frame);
  host->session->close();
}

}  // namespace
}  // namespace tovalin

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > tovalin::kLongestFrame) return 0;
  const std::string frame(data, data + size);
  const auto parsed = tovalin::parseMessage(frame);
  if (parsed) tovalin::readEverything(*parsed);
  tovalin::sendThroughTheClient(frame, parsed);
  return 0;
}
