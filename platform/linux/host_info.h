#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/host_info.h"

namespace tovalin {

// The host name as the kernel knows it; empty on failure. Any thread.
std::string kernelHostName();

// The computer's name: the pretty name in `machineInfo`, else the host name. "localhost" is no
// name that anybody gave, so it counts as none, as does what is not UTF-8 text or has control
// characters in it. Both are asked anew each time. Main thread.
std::unique_ptr<HostInfo> makeHostInfo(std::filesystem::path machineInfo = "/etc/machine-info",
                                       std::string (*hostName)() = &kernelHostName);

}  // namespace tovalin
