#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/x11/x11_input_events.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_input/watching_client.h"

namespace tovalin::test {

// An X server, a program that watches, and the adapter under test.
class X11InputTest : public testing::Test {
 protected:
  static constexpr uint16_t kShiftKey = 56;

  // As the program does: a lost server is an error, not a signal.
  X11InputTest() { signal(SIGPIPE, SIG_IGN); }

  void movePointer(double x, double y, MouseEventType type = MouseEventType::moved) {
    input->post(MouseEvent{type, {x, y}});
  }
  void mouse(MouseEventType type, MouseButton button, double x, double y) {
    input->post(MouseEvent{type, {x, y}, button});
  }
  void scroll(int32_t lines) { input->post(ScrollEvent{lines}); }
  void key(uint16_t code, bool down, uint64_t flags = 0) {
    input->post(KeyboardEvent{code, down, flags, {}});
  }
  void tapKey(uint16_t code, uint64_t flags = 0) {
    key(code, true, flags);
    key(code, false, flags);
  }
  void character(const std::u16string& cluster) {
    input->post(KeyboardEvent{0, true, 0, cluster});
    input->post(KeyboardEvent{0, false, 0, cluster});
  }

  // What the program got of everything posted so far, but for the mark set here.
  std::vector<SeenEvent> seen() {
    mark_ = 3 - mark_;
    const int x = mark_;
    movePointer(x, 700);
    return watcher.eventsUntil([x](const SeenEvent& event) {
      return event.type == XCB_MOTION_NOTIFY && event.x == x && event.y == 700;
    });
  }
  std::vector<SeenEvent> seenKeys() {
    auto events = seen();
    std::erase_if(events, [](const SeenEvent& event) { return !event.isKey(); });
    return events;
  }
  std::vector<SeenEvent> seenButtons() {
    auto events = seen();
    std::erase_if(events, [](const SeenEvent& event) { return !event.isButton(); });
    return events;
  }
  std::string seenText() {
    std::string text;
    for (const auto& event : seen()) text += event.text;
    return text;
  }

  // Types character by character, each read by the program before the next, and returns what it
  // read: how busy the machine is does not matter.
  std::string typedClusters(const std::vector<std::u16string>& clusters) {
    std::string text;
    for (const auto& cluster : clusters) {
      character(cluster);
      text += seenText();
    }
    return text;
  }
  // For texts whose every UTF-16 unit is a character.
  std::string typed(const std::u16string& text) {
    std::vector<std::u16string> clusters;
    for (const char16_t unit : text) clusters.emplace_back(1, unit);
    return typedClusters(clusters);
  }

  void setLayout(const std::string& layout) {
    watcher.keyboard().setLayout(server.display(), layout);
  }

  Xvfb server;
  fake::FakeSystemLog log;
  WatchingClient watcher{server.display()};
  std::unique_ptr<InputEvents> input = makeX11InputEvents(log, server.display());

 private:
  int mark_ = 1;
};

}  // namespace tovalin::test
