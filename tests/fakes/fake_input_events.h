#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <type_traits>
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

// One event in a line, every field of it, so that tests compare and failures read as text:
// "leftDown button 0 at 960,540 click 1", "key 53 down flags 0x0", "text 0065 0301 down key 0
// flags 0x0" (UTF-16 units), "scroll -1".
inline std::string describe(const InputEvent& event) {
  struct Describer {
    std::string operator()(const MouseEvent& mouse) const {
      return format("%s button %d at %.15g,%.15g click %lld", nameOf(mouse.type),
                    static_cast<int>(mouse.button), mouse.position.x, mouse.position.y,
                    static_cast<long long>(mouse.clickState));
    }
    std::string operator()(const KeyboardEvent& key) const {
      const auto* direction = key.down ? "down" : "up";
      const auto flags = static_cast<unsigned long long>(key.flags);
      if (key.unicodeString.empty()) {
        return format("key %d %s flags 0x%llx", int{key.keyCode}, direction, flags);
      }
      std::string text = "text";
      for (const char16_t unit : key.unicodeString) text += format(" %04x", unsigned{unit});
      return text + format(" %s key %d flags 0x%llx", direction, int{key.keyCode}, flags);
    }
    std::string operator()(const ScrollEvent& scroll) const {
      return format("scroll %d", scroll.lines);
    }

    template <typename... Arguments>
    static std::string format(const char* pattern, Arguments... arguments) {
      char line[200];
      std::snprintf(line, sizeof line, pattern, arguments...);
      return line;
    }
  };
  return std::visit(Describer(), event);
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
