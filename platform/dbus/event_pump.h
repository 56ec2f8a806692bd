#pragma once

#include <memory>

#include "platform/dbus/bus_handles.h"
#include "platform/descriptor_watcher.h"
#include "platform/main_queue.h"

namespace tovalin {

// Runs an sd-event loop inside the main thread's run loop. While nothing is due it costs nothing.
// Main thread.
class EventPump : public std::enable_shared_from_this<EventPump> {
 public:
  // Null when the system is out of descriptors.
  static std::shared_ptr<EventPump> make(MainQueue& queue, DescriptorWatcher& watcher);

  sd_event* event() const { return event_.get(); }

  // To be called after anything that may change what the loop waits for, such as a message queued
  // or a timeout set from outside the loop.
  void kick();

 private:
  EventPump(MainQueue& queue, BusEventHandle event) : queue_(queue), event_(std::move(event)) {}
  void run();

  MainQueue& queue_;
  BusEventHandle event_;
  std::unique_ptr<Subscription> readable_;
  bool running_ = false;
  bool kicked_ = false;
};

}  // namespace tovalin
