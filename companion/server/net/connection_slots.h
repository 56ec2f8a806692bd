#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace tovalin::server {

// How many connections there may be at a time, in all and from one address, so that no single
// address can take every descriptor. Server thread.
class ConnectionSlots {
 public:
  struct Bounds {
    std::size_t total = 0;
    std::size_t perAddress = 0;
  };

  explicit ConnectionSlots(Bounds bounds);

  // A place for one more connection of this address (a group, see addressGroup()), kept until the
  // last copy is gone, which may be after these slots. Empty when there is none left.
  std::shared_ptr<void> take(const std::string& address);

  // A place for a connection of a proxy that speaks for many addresses: only the total is bounded.
  std::shared_ptr<void> takeForProxy();

 private:
  struct Taken;
  std::shared_ptr<Taken> taken_;
};

// What a process with so many descriptors can hold: some are kept back for files and the database,
// and one address gets at most a thousand connections, or half of all when those are few.
ConnectionSlots::Bounds boundsFor(std::size_t descriptors);

}  // namespace tovalin::server
