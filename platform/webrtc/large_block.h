#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstddef>

namespace tovalin {

// libvpx takes far more memory than it uses and writes zeros to all of it. To find that memory
// again this program's malloc remembers, for each thread, the largest block that was taken; blocks
// that may be of interest have at least this size, in bytes.
constexpr std::size_t kLargeBlock = std::size_t{24} << 20;

// What was remembered on this thread is no longer of interest.
void forgetLargeBlock();

// Returns the zeroed pages of the remembered block to the system; they read as zeros ever after.
// The block must be in use by this thread alone. One that this thread has freed is forgotten; that
// another thread frees it must not happen. Without a block nothing happens.
void giveBackLargeBlock();

}  // namespace tovalin
