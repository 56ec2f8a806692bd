#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "platform/descriptor_watcher.h"
#include "platform/running_applications.h"
#include "platform/system_log.h"

namespace tovalin {

// The user's running programs, as they have noted themselves under `runtimeDirectory` (usually
// runtimeHome()): a directory for each bundle identifier, in it a file for each process, named by
// its id and holding its start time, so that a note whose process is gone is told from one whose
// number was given away again; beside it the socket on which the process is asked to show itself.
// What the dead have left is removed on reading.
//
// This process is noted from construction to destruction. A directory that is not this user's own
// is not trusted, neither for writing nor for reading: then this process knows of itself alone and
// says so in one line of `log`. `watcher` outlives the result; `terminate` ends the run loop. Main
// thread.
std::unique_ptr<RunningApplications> makeRunningApplications(
    const std::filesystem::path& runtimeDirectory, SystemLog& log, DescriptorWatcher& watcher,
    std::function<void()> terminate);

}  // namespace tovalin
