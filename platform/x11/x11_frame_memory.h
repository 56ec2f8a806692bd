#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_loan.h"

namespace tovalin {

// The memory of one picture. Stays mapped until the last reference goes, also when the connection
// that it was shared over has ended long before.
class FrameMemory {
 public:
  // Memory that the server writes into as well: an anonymous file passed to it where it takes one
  // (MIT-SHM 1.2), which works across containers and users, else a System V segment. Null when the
  // server cannot share memory. Blocks for one or two answers.
  static std::shared_ptr<FrameMemory> sharedWith(X11Connection& connection, size_t bytes);
  // Memory of our own; null when there is none.
  static std::shared_ptr<FrameMemory> ownedHere(size_t bytes);

  ~FrameMemory();
  FrameMemory(const FrameMemory&) = delete;
  FrameMemory& operator=(const FrameMemory&) = delete;

  uint8_t* data() const { return data_; }
  // The server's name for it; none when it is not shared.
  xcb_shm_seg_t segment() const { return segment_; }

  // Gives the pages back to the system: what was there is lost, and they come again, with anything
  // in them, when they are next written. Nothing may be under way in it.
  void dropPages();

  FrameLoan loan;

 private:
  enum class Origin { mapped, systemV };

  FrameMemory(void* data, size_t bytes, Origin origin, xcb_shm_seg_t segment)
      : data_(static_cast<uint8_t*>(data)), bytes_(bytes), origin_(origin), segment_(segment) {}

  static std::shared_ptr<FrameMemory> byDescriptor(X11Connection& connection, size_t bytes);
  static std::shared_ptr<FrameMemory> bySystemV(X11Connection& connection, size_t bytes);

  uint8_t* data_;
  size_t bytes_;
  Origin origin_;
  xcb_shm_seg_t segment_;
};

}  // namespace tovalin
