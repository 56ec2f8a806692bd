#pragma once

#include <memory>

#include "platform/windows.h"

namespace tovalin {

// Whether somebody is at the other end of `input`: a terminal with this program in its foreground,
// a pipe or a socket. Only then are lines printed: a host that was started by the desktop writes
// into a log, where a PIN must not stand.
bool isConsoleAttended(int input = 0);

// The windows as lines of text, for a computer without a graphical session and for scripts: what
// they would show is printed on `output` as it changes, and single letters typed on `input`, each
// with Return, press their buttons ("h" lists them). The PIN stands in a line of its own,
// "PIN: " and its characters, for scripts to find.
//
// Printing never waits: a line that its reader has no room for is lost. What comes from outside
// cannot drive the terminal. Both descriptors stay the caller's; -1 is for none. Main thread.
std::unique_ptr<Windows> makeConsoleWindows(int input = 0, int output = 1);

}  // namespace tovalin
