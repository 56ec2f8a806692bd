#pragma once

#include <nlohmann/json.hpp>

namespace tovalin {

// One message to or from the signalling server: a JSON object whose string field "type" says what
// it is. Builders and readers are in messages.h.
using SignalMessage = nlohmann::json;

}  // namespace tovalin
