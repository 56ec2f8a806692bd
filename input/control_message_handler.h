#pragma once

#include <nlohmann/json.hpp>

namespace tovalin {

// Where the viewer's control messages go.
class ControlMessageHandler {
 public:
  virtual ~ControlMessageHandler() = default;

  // One JSON object, otherwise unchecked. Called on the media library's thread, one message at a
  // time and in order; the next one waits until this returns.
  virtual void handle(const nlohmann::json& message) = 0;
};

}  // namespace tovalin
