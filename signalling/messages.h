#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rtc.h"
#include "signalling/message.h"

namespace tovalin {

// Builders. Each result carries exactly the fields that the server knows for its type. Texts are
// taken as they are: one that is not UTF-8 shows only when the message is serialised.

// The first frame of every connection. `name` is what the viewer's device list shows.
SignalMessage registerMessage(std::string_view hostId, std::string_view hostKey,
                              std::string_view name);
// Asks for a PIN; answered by "pairing-pin".
SignalMessage pairingStartMessage();
SignalMessage offerMessage(std::string_view sdp);
// A candidate without a media id is sent with an empty one.
SignalMessage iceMessage(const IceCandidate& candidate);
SignalMessage lockMessage(bool locked);
// The person at this computer ends the visit.
SignalMessage byeMessage();
// A line for the server's log; never answered.
SignalMessage diagnosticMessage(std::string_view text);

// Readers. They accept any JSON value, check its type before use and never throw; a field of the
// wrong type is an absent one. Any thread.

// A JSON object from bytes that came from outside; absent when they are anything else. Objects
// nested deeper than 512 levels count as malformed, because copying them would exhaust the stack
// of whichever thread does it; the deepest message in use has four.
std::optional<SignalMessage> parseMessage(std::string_view bytes);

// The field "type".
std::optional<std::string> messageType(const SignalMessage& message);
std::optional<std::string> stringField(const SignalMessage& message, std::string_view key);
// A number without a fraction, however written: 1 and 1.0 alike. Exact within 53 bits, which is
// enough to tell whether it fits in 32.
std::optional<double> wholeNumberField(const SignalMessage& message, std::string_view key);
// The relay servers of "registered", unread. Empty when the list is absent or when any element is
// not an object: a server that gets one wrong is not trusted with the rest.
std::vector<nlohmann::json> iceServerList(const SignalMessage& message);

}  // namespace tovalin
