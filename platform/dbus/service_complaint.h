#pragma once

#include <string>

#include "platform/system_log.h"

namespace tovalin {

// Says once of a service that it does not keep to its interface.
class ServiceComplaint {
 public:
  ServiceComplaint(SystemLog& log, std::string service) : log_(log), service_(std::move(service)) {}

  void answerOfWrongType() {
    if (!said_) log_.line("[Tovalin] " + service_ + " answers with the wrong type");
    said_ = true;
  }

 private:
  SystemLog& log_;
  const std::string service_;
  bool said_ = false;
};

}  // namespace tovalin
