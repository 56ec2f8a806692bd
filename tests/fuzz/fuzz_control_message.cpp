// Control messages as a viewer could send them: one JSON text a line, all in one visit.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>

#include "input/input_injector.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/fakes/fake_input_events.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_text.h"

namespace {

using nlohmann::json;
using namespace tovalin;

constexpr size_t kGreatestInput = 4096;

double number(const json& message, const char* key) {
  const auto field = message.find(key);
  return field != message.end() && field->is_number() ? field->get<double>() : 0;
}

bool within(double value, double least, double greatest) {
  return value >= least && value <= greatest;
}

// A number that does not fit its integer stops the process on purpose, which a fuzzer would take
// for a finding; the unit tests hold those stops. Such numbers are left out by the real limits'
// nearest inner neighbours. So are long rows of clicks: allowed, but the fake records them all.
bool isFitForFuzzing(const json& message) {
  constexpr double kGreatestInt64 = 0x1p63 - 1024;
  constexpr double kGreatestUint64 = 0x1p64 - 2048;
  return within(number(message, "b"), -0x1p63, kGreatestInt64) &&
         within(number(message, "n"), -0x1p63, 100) &&
         within(number(message, "d"), INT32_MIN, INT32_MAX) &&
         within(number(message, "c"), 0, UINT16_MAX) &&
         within(number(message, "f"), 0, kGreatestUint64);
}

void require(bool condition) {
  if (!condition) std::abort();
}

struct Pressed {
  std::set<int> buttons;
  std::set<int> keys;
};

void follow(Pressed& pressed, const MouseEvent& mouse) {
  const auto button = static_cast<int>(mouse.button);
  switch (mouse.type) {
    case MouseEventType::leftDown:
    case MouseEventType::rightDown:
    case MouseEventType::otherDown:
      pressed.buttons.insert(button);
      break;
    case MouseEventType::leftUp:
    case MouseEventType::rightUp:
    case MouseEventType::otherUp:
      pressed.buttons.erase(button);
      break;
    default:
      break;
  }
}

void follow(Pressed& pressed, const KeyboardEvent& key) {
  if (!key.unicodeString.empty()) return;
  if (key.down) {
    pressed.keys.insert(key.keyCode);
  } else {
    pressed.keys.erase(key.keyCode);
  }
}

// Whatever came: the pointer stays on the display and nothing stays down after the visit.
void check(const fake::FakeInputEvents& events) {
  const auto& display = events.display;
  Pressed pressed;
  for (const auto& event : events.events()) {
    if (const auto* mouse = std::get_if<MouseEvent>(&event)) {
      const auto& at = mouse->position;
      const bool beforeAnyMove = at == Point{};
      require(beforeAnyMove || (within(at.x, display.x, display.x + display.width) &&
                                within(at.y, display.y, display.y + display.height)));
      require(mouse->clickState >= 1);
      follow(pressed, *mouse);
    } else if (const auto* key = std::get_if<KeyboardEvent>(&event)) {
      follow(pressed, *key);
    }
  }
  require(pressed.buttons.empty() && pressed.keys.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kGreatestInput) return 0;
  fake::FakeMainQueue queue;
  fake::FakeInputEvents events;
  events.display = {10, 20, 800, 600};
  fake::FakeTextSegmenter segmenter;
  fake::FakePermissions permissions;
  fake::FakePower power;
  const auto injector = InputInjector::create(queue, events, segmenter, permissions, power);
  int diagnostics = 0;
  injector->setOnDiagnostic([&](const std::string&) { ++diagnostics; });

  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const auto line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const auto message = json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!message.is_object() || !isFitForFuzzing(message)) continue;
    injector->handle(message);
    queue.advance(0.1);
  }
  queue.advance(2);
  injector->releaseHeld();
  check(events);
  require(diagnostics <= 1);
  require(events.settles() == 1);
  return 0;
}
