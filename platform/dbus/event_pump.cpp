#include "platform/dbus/event_pump.h"

#include <utility>

#include "platform/weak_task.h"

namespace tovalin {
namespace {

// A peer that floods us gets its share of the main thread, not all of it.
constexpr int kTurnsAtOnce = 64;

}  // namespace

std::shared_ptr<EventPump> EventPump::make(MainQueue& queue, DescriptorWatcher& watcher) {
  sd_event* event = nullptr;
  if (sd_event_new(&event) < 0) return nullptr;
  std::shared_ptr<EventPump> pump(new EventPump(queue, BusEventHandle(event)));
  pump->readable_ =
      watcher.onReadable(sd_event_get_fd(event), weakly(pump, [](EventPump& self) { self.run(); }));
  return pump;
}

void EventPump::kick() {
  // The loop looks again by itself before it waits.
  if (kicked_ || running_) return;
  kicked_ = true;
  queue_.post(weakly(shared_from_this(), [](EventPump& self) {
    self.kicked_ = false;
    self.run();
  }));
}

void EventPump::run() {
  if (running_) return;
  running_ = true;
  int turns = 0;
  int outcome = 0;
  while (turns < kTurnsAtOnce && (outcome = sd_event_run(event_.get(), 0)) > 0) ++turns;
  running_ = false;
  // A loop that fails would stay readable for ever.
  if (outcome < 0) readable_.reset();
  // A timer that has run out is known to the loop alone, no longer to its descriptor.
  if (turns == kTurnsAtOnce) kick();
}

}  // namespace tovalin
