#pragma once

#include <chrono>
#include <condition_variable>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "platform/input_events.h"

namespace tovalin::fake {

using InputEvent = std::variant<MouseEvent, KeyboardEvent, ScrollEvent>;

inline const char* nameOf(MouseEventType type) {
  switch (type) {
    case MouseEventType::leftDown:
      return "leftDown";
    case MouseEventType::leftUp:
      return "leftUp";
    case MouseEventType::rightDown:
      return "rightDown";
    case MouseEventType::rightUp:
      return "rightUp";
    case MouseEventType::moved:
      return "moved";
    case MouseEventType::leftDragged:
      return "leftDragged";
    case MouseEventType::rightDragged:
      return "rightDragged";
    case MouseEventType::otherDown:
      return "otherDown";
    case MouseEventType::otherUp:
      return "otherUp";
  }
  return "unknown";
}

// One event in a line, every field of it, so that tests compare text and failures read as text:
// "leftDown button 0 at 960,540 click 1".
inline std::string describe(const MouseEvent& mouse) {
  std::ostringstream line;
  line << std::setprecision(15) << nameOf(mouse.type) << " button "
       << static_cast<int>(mouse.button) << " at " << mouse.position.x << ',' << mouse.position.y
       << " click " << mouse.clickState;
  return line.str();
}

// "key 53 down flags 0x0"; with text, its UTF-16 units: "text 0065 0301 down key 0 flags 0x0".
inline std::string describe(const KeyboardEvent& key) {
  const auto* direction = key.down ? " down" : " up";
  std::ostringstream line;
  if (key.unicodeString.empty()) {
    line << "key " << key.keyCode << direction;
  } else {
    line << "text" << std::hex << std::setfill('0');
    for (const char16_t unit : key.unicodeString) line << ' ' << std::setw(4) << unsigned{unit};
    line << std::dec << direction << " key " << key.keyCode;
  }
  line << " flags 0x" << std::hex << key.flags;
  return line.str();
}

// "scroll -1".
inline std::string describe(const ScrollEvent& scroll) {
  return "scroll " + std::to_string(scroll.lines);
}

inline std::string describe(const InputEvent& event) {
  return std::visit([](const auto& one) { return describe(one); }, event);
}

// Records what is posted, in order, from any thread.
class FakeInputEvents : public InputEvents {
 public:
  // Set before events are posted; moving it between two messages is a resize.
  DisplayId main = 1;
  Rect display = {0, 0, 1920, 1080};

  DisplayId mainDisplay() const override { return main; }
  Rect bounds(DisplayId) const override { return display; }

  void post(const MouseEvent& event) override { record(event); }
  void post(const KeyboardEvent& event) override { record(event); }
  void post(const ScrollEvent& event) override { record(event); }

  void settle() override {
    std::lock_guard lock(mutex_);
    ++settles_;
    eventsBeforeSettle_ = events_.size();
  }

  std::vector<InputEvent> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

  // The events in describe()'s words; forgets them.
  std::vector<std::string> takeLines() {
    std::lock_guard lock(mutex_);
    std::vector<std::string> lines;
    for (const auto& event : events_) lines.push_back(describe(event));
    events_.clear();
    return lines;
  }

  int settles() const {
    std::lock_guard lock(mutex_);
    return settles_;
  }

  // How many of events() came before the last settle().
  size_t eventsBeforeSettle() const {
    std::lock_guard lock(mutex_);
    return eventsBeforeSettle_;
  }

  // Waits for another thread to post; false when `count` events have not come in ten seconds.
  bool waitForEvents(size_t count) const {
    std::unique_lock lock(mutex_);
    return posted_.wait_for(lock, std::chrono::seconds(10),
                            [&] { return events_.size() >= count; });
  }

 private:
  void record(InputEvent event) {
    {
      std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
    }
    posted_.notify_all();
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable posted_;
  std::vector<InputEvent> events_;
  int settles_ = 0;
  size_t eventsBeforeSettle_ = 0;
};

}  // namespace tovalin::fake
