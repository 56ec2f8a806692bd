#pragma once

#include <memory>
#include <string>

#include "platform/rtc.h"
#include "platform/webrtc/require_checks.h"

namespace tovalin {

// The media library behind its port. Costs nothing until the first factory, which starts the
// library's threads; they are joined when the factory and everything made from it are gone.
// Freed memory of a picture's size goes back to the system, in the whole process.
// Silences the library's own log, which would otherwise fill standard error. With a name in
// `frameTraceFile` the way of each picture is written down there (see FrameTrace). Main thread.
std::unique_ptr<RtcLibrary> makeWebRtcLibrary(const std::string& frameTraceFile = {});

}  // namespace tovalin
