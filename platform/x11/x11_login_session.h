#pragma once

#include <memory>
#include <string>

#include "platform/login_session.h"

namespace tovalin {

// A login session as far as the X server knows it: the screen counts as locked while the server's
// screen saver is on (lockers that register with the server switch it on; one that merely covers
// the screen goes unnoticed). Absent without a server that tells. Each question waits a few
// milliseconds at most for the server; an answer that is later than that counts for the next
// question. Sleep is not the X server's matter: observers of waking are never called.
// `displayName` as in the DISPLAY variable; empty means that variable.
std::unique_ptr<LoginSession> makeX11LoginSession(std::string displayName = {});

}  // namespace tovalin
