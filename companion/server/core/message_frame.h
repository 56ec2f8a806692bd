#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace tovalin::server {

using Json = nlohmann::json;

// The JSON object in a text frame, or nothing when the frame is anything else: not JSON, not an
// object, not UTF-8, or nested deeper than `depth` levels.
std::optional<Json> parseObject(std::string_view text, std::size_t depth);

// The string field `key`, or nothing when it is absent or of another type.
std::optional<std::string> stringField(const Json& message, const char* key);

}  // namespace tovalin::server
