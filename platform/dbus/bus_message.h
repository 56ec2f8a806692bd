#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tovalin {

// The next field of a message, or nothing when the field is of another type or missing: what a
// peer sends is never trusted to have the right form. Each moves on by the field it read.
std::optional<bool> readBool(sd_bus_message* message);
std::optional<uint32_t> readUint32(sd_bus_message* message);
std::optional<std::string> readString(sd_bus_message* message);
std::optional<std::string> readObjectPath(sd_bus_message* message);

// Steps into a variant that holds one value of the basic type `signature` ("b", "u", "v", …).
bool enterVariant(sd_bus_message* message, const char* signature);

}  // namespace tovalin
