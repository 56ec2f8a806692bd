#pragma once

#include <string>

namespace tovalin {

// Where the user's session bus and the machine's system bus listen, as the environment says or by
// convention; empty when nothing says. Only sockets of this machine are named: for other kinds of
// address the bus library would resolve host names or start programs, which may block.
std::string sessionBusAddress();
std::string systemBusAddress();

// The parts of a D-Bus address list that are sockets of this machine.
std::string localPartsOf(const std::string& addresses);

}  // namespace tovalin
