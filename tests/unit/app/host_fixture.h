#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/host_controller.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/fakes/fake_input_events.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_rtc.h"
#include "tests/fakes/fake_screen_capture.h"
#include "tests/fakes/fake_system.h"
#include "tests/fakes/fake_text.h"
#include "tests/fakes/fake_web_socket.h"
#include "tests/fakes/fake_windows.h"

namespace tovalin {

inline constexpr const char* kTestServerUrl = "wss://signal.example/signal";

// A whole host on fakes. The verbs say what the world does to it; time passes only in
// queue_.advance().
class HostFixture : public ::testing::Test {
 protected:
  HostPlatform platform() {
    return {queue_,        defaults_, random_,      log_,           info_,
            urls_,         sockets_,  rtc_,         capture_,       input_,
            text_,         qrCodes_,  permissions_, loginSession_,  loginItem_,
            applications_, power_,    windows_,     kTestServerUrl, "stun.example"};
  }

  void launch() {
    host_ = HostController::create(platform());
    queue_.run();
  }
  // The program ends and is started again, with what it had stored.
  void relaunch() {
    host_.reset();
    launch();
  }

  // The server's side of the latest connection.
  void serverSays(const SignalMessage& message) { serverSaysText(message.dump()); }
  void serverSaysText(const std::string& text) {
    sockets_.latest().serverSends(text);
    queue_.run();
  }
  void registerHost(const SignalMessage& iceServers = SignalMessage::array()) {
    serverSays({{"type", "registered"}, {"iceServers", iceServers}});
  }
  void viewerJoins() { serverSays({{"type", "peer-joined"}}); }
  void viewerLeaves() { serverSays({{"type", "peer-left"}}); }
  void serverDrops() {
    sockets_.latest().serverDrops();
    queue_.run();
  }

  // The viewer's side of the latest session.
  void viewerConnects() {
    viewerJoins();
    iceBecomes(IceConnectionState::connected);
  }
  void iceBecomes(IceConnectionState state) {
    rtc_.latest().iceBecomes(state);
    queue_.run();
  }
  void viewerSends(const std::string& message) {
    rtc_.latest().dataChannels().at(0)->viewerSends(message);
    queue_.run();
  }
  void captureDelivers(uint64_t pictureNumber) {
    ASSERT_TRUE(capture_.deliver(std::make_shared<fake::FakePixelBuffer>(pictureNumber)));
  }

  // What the server has received on the latest connection.
  std::vector<SignalMessage> sentMessages() const { return sockets_.latest().sent(); }
  std::vector<SignalMessage> sentOfType(const std::string& type) const {
    if (sockets_.connections() == 0) return {};
    return sockets_.latest().sentOfType(type);
  }
  long diagnosticsSent(const std::string& text) const {
    const auto all = sockets_.latest().diagnostics();
    return std::count(all.begin(), all.end(), text);
  }
  std::string connectedUrl() const { return sockets_.latest().url.absoluteString; }
  std::optional<int> firstConnectionCloseCode() const {
    return sockets_.connection(0).cancelCode();
  }

  bool sessionClosed(size_t number) const { return rtc_.connection(number).isClosed(); }
  std::vector<IceServer> latestIceServers() const { return rtc_.latest().configuration.iceServers; }

  // The fakes outlive the host.
  fake::FakeMainQueue queue_;
  fake::FakeUserDefaults defaults_;
  fake::FakeSecureRandom random_;
  fake::FakeSystemLog log_;
  fake::FakeHostInfo info_;
  fake::FakeUrlParser urls_;
  fake::FakeWebSockets sockets_;
  fake::FakeRtcLibrary rtc_;
  fake::FakeScreenCapture capture_;
  fake::FakeInputEvents input_;
  fake::FakeTextSegmenter text_;
  fake::FakeQrCodeGenerator qrCodes_;
  fake::FakePermissions permissions_;
  fake::FakeLoginSession loginSession_;
  fake::FakeLoginItem loginItem_;
  fake::FakeRunningApplications applications_;
  fake::FakePower power_;
  fake::FakeWindows windows_;
  std::shared_ptr<HostController> host_;
};

}  // namespace tovalin
