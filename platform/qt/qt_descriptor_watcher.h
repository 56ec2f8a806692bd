#pragma once

#include <memory>

#include "platform/descriptor_watcher.h"

namespace tovalin {

// Watches descriptors in Qt's event loop; needs the application object.
std::unique_ptr<DescriptorWatcher> makeQtDescriptorWatcher();

}  // namespace tovalin
