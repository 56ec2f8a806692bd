#include "platform/dbus/bus_message.h"

namespace tovalin {
namespace {

template <typename Value>
std::optional<Value> readBasic(sd_bus_message* message, char type) {
  Value value{};
  if (sd_bus_message_read_basic(message, type, &value) <= 0) return std::nullopt;
  return value;
}

std::optional<std::string> readText(sd_bus_message* message, char type) {
  const auto text = readBasic<const char*>(message, type);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

std::optional<bool> readBool(sd_bus_message* message) {
  const auto value = readBasic<int>(message, SD_BUS_TYPE_BOOLEAN);
  return value ? std::optional(*value != 0) : std::nullopt;
}

std::optional<uint32_t> readUint32(sd_bus_message* message) {
  return readBasic<uint32_t>(message, SD_BUS_TYPE_UINT32);
}

std::optional<std::string> readString(sd_bus_message* message) {
  return readText(message, SD_BUS_TYPE_STRING);
}

std::optional<std::string> readObjectPath(sd_bus_message* message) {
  return readText(message, SD_BUS_TYPE_OBJECT_PATH);
}

bool enterVariant(sd_bus_message* message, const char* signature) {
  return sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, signature) > 0;
}

}  // namespace tovalin
