#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "input/control_message_handler.h"
#include "input/held_input.h"
#include "input/turn_lock.h"
#include "platform/input_events.h"
#include "platform/main_queue.h"
#include "platform/permissions.h"
#include "platform/power.h"
#include "platform/text.h"

namespace tovalin {

// Turns the viewer's control messages into input events. One object serves every visit.
//
// Messages are handled one at a time on the thread that receives them; the end of a visit and the
// delayed steps of unlocking come in from the main thread. Events of one step (a click, a typed
// character) stay together; a step waits for at most one other.
class InputInjector : public ControlMessageHandler,
                      public std::enable_shared_from_this<InputInjector> {
 public:
  // All five must outlive the injector. The display that positions map to is chosen here.
  static std::shared_ptr<InputInjector> create(MainQueue& queue, InputEvents& events,
                                               TextSegmenter& segmenter, Permissions& permissions,
                                               Power& power);

  // Called once in the injector's life, on the thread of the first message. Set before that.
  void setOnDiagnostic(std::function<void(const std::string&)> onDiagnostic);

  // One message, a JSON object; anything else, or an unknown kind, does nothing. A number that
  // does not fit its integer is a deliberate hard stop of the process. Any one thread at a time.
  void handle(const nlohmann::json& message) override;

  // Ends a visit: lifts everything the viewer holds down, and cuts short a message that is still
  // being handled (a text, a row of clicks), so that this waits for one step at most. Unlocking
  // that has begun is carried through. Calling it again is harmless. Any thread.
  void releaseHeld();

 private:
  InputInjector(MainQueue& queue, InputEvents& events, TextSegmenter& segmenter,
                Permissions& permissions, Power& power);

  // Which visit something belongs to: the number of those that have ended before it began.
  using Visit = uint64_t;

  void reportTrustOnce();
  void dispatch(const std::string& kind, const nlohmann::json& message, Visit visit);

  void move(double nx, double ny, Visit visit);
  void button(double code, bool down, Visit visit);
  void click(double code, double count, Visit visit);
  void scroll(double lines, Visit visit);
  void rawKey(double code, bool down, double flags, Visit visit);
  void unlock(const std::string& password, Visit visit);
  void typePassword(const std::string& password, Visit visit);
  void confirmPassword(Visit visit);
  void typeUnicode(const std::string& text, std::optional<Visit> visit);

  // Runs `body` with the turn held and says so; does nothing when `visit` is given and over.
  template <typename Body>
  bool step(std::optional<Visit> visit, Body body);

  // With the turn held.
  void postButton(MouseButton button, bool down, int64_t clickState);
  void postKeyStroke(uint16_t keyCode, const std::u16string& unicodeString);

  MainQueue& queue_;
  InputEvents& events_;
  TextSegmenter& segmenter_;
  Permissions& permissions_;
  Power& power_;
  const DisplayId display_;

  std::function<void(const std::string&)> onDiagnostic_;
  std::atomic<bool> reportedTrust_ = false;
  std::atomic<Visit> endedVisits_ = 0;

  TurnLock turn_;  // guards the two below and all posting
  Point position_;
  HeldInput held_;
};

}  // namespace tovalin
