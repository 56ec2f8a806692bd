#pragma once

#include <memory>
#include <string>

#include "platform/input_events.h"
#include "platform/system_log.h"

namespace tovalin {

// Input events for an X11 desktop, through the server's XTEST extension. `displayName` as in the
// DISPLAY variable; empty means that variable.
//
// The picture is of the main display, so that is what every display identifier means here,
// whichever display was the main one when the identifier was taken. Without a server, or with one
// that has no XTEST, bounds are empty and events are skipped; calls try again at most once a
// second, and log when that changes.
//
// Calls block for connecting and after displays changed, for a few answers; otherwise moves,
// buttons, scrolling and raw keys wait for nothing. Typing text asks the server for the keyboard's
// state, and it is the one thing here that may wait on purpose: when many different characters that
// the layout has no key for come quickly, each waits until an unused keycode has carried its last
// character long enough, up to 200 ms. Destruction settles.
//
// libxcb writes with writev(2): the program ignores SIGPIPE.
std::unique_ptr<InputEvents> makeX11InputEvents(SystemLog& log, std::string displayName = {});

}  // namespace tovalin
