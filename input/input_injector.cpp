#include "input/input_injector.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/fatal.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

using nlohmann::json;

// Positional virtual key codes; typed text carries the first, which then means nothing.
constexpr uint16_t kNoKey = 0;
constexpr uint16_t kReturnKey = 36;
constexpr uint16_t kEscapeKey = 53;

// What a lock screen needs to bring up its password field, and to take in what was typed there.
constexpr double kPasswordFieldDelay = 0.8;
constexpr double kConfirmDelay = 0.4;

double num(const json& message, const char* key) {
  const auto field = message.find(key);
  return field != message.end() && field->is_number() ? field->get<double>() : 0;
}

std::optional<std::string> text(const json& message, const char* key) {
  const auto field = message.find(key);
  if (field == message.end() || !field->is_string()) return std::nullopt;
  return field->get<std::string>();
}

bool trueUnlessFalse(const json& message, const char* key) {
  const auto field = message.find(key);
  return field == message.end() || !field->is_boolean() || field->get<bool>();
}

// Truncates toward zero. A number that no `Integer` can hold ends the process: no viewer sends
// one, and acting on a part of it could press something else than was meant.
template <typename Integer>
Integer integerOrStop(double number, const char* why) {
  // Both limits are powers of two and so exact; the greatest integer itself would be rounded up
  // to the limit beyond it. Written so that not-a-number fails.
  const double end = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
  const double begin = std::is_signed_v<Integer> ? -end : 0.0;
  const double whole = std::trunc(number);
  if (!(whole >= begin && whole < end)) fatal(why);
  return static_cast<Integer>(whole);
}

MouseButton mouseButton(double code) {
  switch (integerOrStop<int64_t>(code, "button code of a control message out of range")) {
    case 1:
      return MouseButton::right;
    case 2:
      return MouseButton::center;
    default:
      return MouseButton::left;
  }
}

MouseEventType buttonEventType(MouseButton button, bool down) {
  switch (button) {
    case MouseButton::right:
      return down ? MouseEventType::rightDown : MouseEventType::rightUp;
    case MouseButton::center:
      return down ? MouseEventType::otherDown : MouseEventType::otherUp;
    case MouseButton::left:
      break;
  }
  return down ? MouseEventType::leftDown : MouseEventType::leftUp;
}

// The pointer drags with the left or the right button; the center one deliberately does not.
MouseEventType moveEventType(const HeldInput& held) {
  if (held.isDown(MouseButton::left)) return MouseEventType::leftDragged;
  if (held.isDown(MouseButton::right)) return MouseEventType::rightDragged;
  return MouseEventType::moved;
}

double clampedFraction(double fraction) {
  return fraction > 0 ? std::min(fraction, 1.0) : 0;
}

}  // namespace

std::shared_ptr<InputInjector> InputInjector::create(MainQueue& queue, InputEvents& events,
                                                     TextSegmenter& segmenter,
                                                     Permissions& permissions, Power& power) {
  return std::shared_ptr<InputInjector>(
      new InputInjector(queue, events, segmenter, permissions, power));
}

InputInjector::InputInjector(MainQueue& queue, InputEvents& events, TextSegmenter& segmenter,
                             Permissions& permissions, Power& power)
    : queue_(queue),
      events_(events),
      segmenter_(segmenter),
      permissions_(permissions),
      power_(power),
      display_(events.mainDisplay()) {}

void InputInjector::setOnDiagnostic(std::function<void(const std::string&)> onDiagnostic) {
  onDiagnostic_ = std::move(onDiagnostic);
}

void InputInjector::handle(const json& message) {
  const Visit visit = endedVisits_;
  const auto kind = message.is_object() ? text(message, "t") : std::nullopt;
  if (!kind) return;
  reportTrustOnce();
  dispatch(*kind, message, visit);
}

void InputInjector::reportTrustOnce() {
  if (reportedTrust_.exchange(true) || !onDiagnostic_) return;
  onDiagnostic_(std::string("accessibility-trusted=") +
                (permissions_.isTrusted() ? "true" : "false"));
}

void InputInjector::dispatch(const std::string& kind, const json& message, Visit visit) {
  if (kind == "m") {
    move(num(message, "x"), num(message, "y"), visit);
  } else if (kind == "c") {
    click(num(message, "b"), num(message, "n"), visit);
  } else if (kind == "p") {
    button(num(message, "b"), true, visit);
  } else if (kind == "r") {
    button(num(message, "b"), false, visit);
  } else if (kind == "w") {
    scroll(num(message, "d"), visit);
  } else if (kind == "k") {
    typeUnicode(text(message, "s").value_or(""), visit);
  } else if (kind == "key") {
    rawKey(num(message, "c"), trueUnlessFalse(message, "d"), num(message, "f"), visit);
  } else if (kind == "unlock") {
    unlock(text(message, "pw").value_or(""), visit);
  }
}

void InputInjector::move(double nx, double ny, Visit visit) {
  step(visit, [&] {
    const Rect bounds = events_.bounds(display_);
    position_ = {bounds.x + clampedFraction(nx) * bounds.width,
                 bounds.y + clampedFraction(ny) * bounds.height};
    events_.post(MouseEvent{moveEventType(held_), position_, MouseButton::left, 1});
  });
}

void InputInjector::button(double code, bool down, Visit visit) {
  const MouseButton button = mouseButton(code);
  step(visit, [&] {
    held_.setButton(button, down);
    postButton(button, down, 1);
  });
}

void InputInjector::click(double code, double count, Visit visit) {
  const MouseButton button = mouseButton(code);
  const auto clicks = std::max<int64_t>(
      integerOrStop<int64_t>(count, "click count of a control message out of range"), 1);
  // A count has no upper bound but its type's. A row of clicks without end is ended by the end of
  // the visit, and leaves the turn to others after every click.
  const auto once = [&](int64_t clickState) {
    return step(visit, [&] {
      postButton(button, true, clickState);
      postButton(button, false, clickState);
    });
  };
  for (int64_t k = 1; k <= clicks && once(k); ++k) {
  }
}

void InputInjector::scroll(double lines, Visit visit) {
  const auto whole =
      integerOrStop<int32_t>(lines, "scroll amount of a control message out of range");
  step(visit, [&] { events_.post(ScrollEvent{whole}); });
}

void InputInjector::rawKey(double code, bool down, double flags, Visit visit) {
  const auto keyCode = integerOrStop<uint16_t>(code, "key code of a control message out of range");
  const auto mask = integerOrStop<uint64_t>(flags, "flag mask of a control message out of range");
  step(visit, [&] {
    held_.setKey(keyCode, down);
    events_.post(KeyboardEvent{keyCode, down, mask, {}});
  });
}

void InputInjector::unlock(const std::string& password, Visit visit) {
  if (password.empty()) return;
  power_.declareUserActivity("Tovalin viewer connected");
  const bool asked = step(visit, [&] { postKeyStroke(kEscapeKey, {}); });
  if (!asked) return;
  queue_.after(kPasswordFieldDelay,
               weakly(shared_from_this(), [password, visit](InputInjector& self) {
                 self.typePassword(password, visit);
               }));
}

void InputInjector::typePassword(const std::string& password, Visit visit) {
  typeUnicode(password, std::nullopt);
  queue_.after(kConfirmDelay, weakly(shared_from_this(), [visit](InputInjector& self) {
                 self.confirmPassword(visit);
               }));
}

void InputInjector::confirmPassword(Visit visit) {
  step(std::nullopt, [&] {
    postKeyStroke(kReturnKey, {});
    // When the visit has ended meanwhile, nobody else gives back what typing borrowed.
    if (visit != endedVisits_) events_.settle();
  });
}

void InputInjector::typeUnicode(const std::string& text, std::optional<Visit> visit) {
  for (const auto& character : segmenter_.graphemeClusters(text)) {
    if (!step(visit, [&] { postKeyStroke(kNoKey, character); })) return;
  }
}

void InputInjector::releaseHeld() {
  // Before the turn is asked for: what is under way stops at its next step.
  ++endedVisits_;
  std::lock_guard turn(turn_);
  const auto everything = held_.takeAll();
  for (const auto keyCode : everything.keys) events_.post(KeyboardEvent{keyCode, false, 0, {}});
  for (const auto button : everything.buttons) postButton(button, false, 1);
  events_.settle();
}

template <typename Body>
bool InputInjector::step(std::optional<Visit> visit, Body body) {
  std::lock_guard turn(turn_);
  if (visit && *visit != endedVisits_) return false;
  body();
  return true;
}

void InputInjector::postButton(MouseButton button, bool down, int64_t clickState) {
  events_.post(MouseEvent{buttonEventType(button, down), position_, button, clickState});
}

void InputInjector::postKeyStroke(uint16_t keyCode, const std::u16string& unicodeString) {
  events_.post(KeyboardEvent{keyCode, true, 0, unicodeString});
  events_.post(KeyboardEvent{keyCode, false, 0, unicodeString});
}

}  // namespace tovalin
