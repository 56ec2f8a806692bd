#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstddef>

namespace tovalin {

// libvpx takes far more memory than it uses and writes zeros to all of it. To find that memory
// again this program's malloc remembers, for each thread, the largest block that was taken during
// the life of such an object; blocks that may be of interest have at least this size, in bytes. One
// object a thread at a time. What was found is remembered until the next object, or until the
// thread frees it; that another thread frees it must not happen.
constexpr std::size_t kLargeBlock = std::size_t{24} << 20;

class LargeBlockSearch {
 public:
  LargeBlockSearch();
  ~LargeBlockSearch();

  LargeBlockSearch(const LargeBlockSearch&) = delete;
  LargeBlockSearch& operator=(const LargeBlockSearch&) = delete;
};

struct LargeBlock {
  void* start = nullptr;
  std::size_t size = 0;  // bytes
};

// What this thread remembers; of size 0 for nothing. May be handed to the thread that goes on with
// it, and will free it.
LargeBlock rememberedLargeBlock();
void rememberLargeBlock(LargeBlock block);

// Returns the zeroed pages of the remembered block to the system; they read as zeros ever after.
// The block must be in use by this thread alone. Without one nothing happens.
void giveBackZeros();

// Returns all of the block to the system, as far as whole pages go. For a block whose contents
// nobody needs any more. Without one nothing happens.
void discardLargeBlock();

}  // namespace tovalin
