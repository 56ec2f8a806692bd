#pragma once

#include <memory>

#include "platform/main_queue.h"

namespace tovalin {

// The main queue on Qt's event loop, which must exist. Timers keep to the millisecond. To be made
// and destroyed on the main thread; what has not run by then is dropped.
std::unique_ptr<MainQueue> makeQtMainQueue();

}  // namespace tovalin
