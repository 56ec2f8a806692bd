#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/dbus/bus.h"
#include "platform/dbus/service_complaint.h"

namespace tovalin {

// How a service is asked to inhibit something.
struct InhibitionRequest {
  // What the service hands out: a number that its `giveBack` method takes, or a descriptor that is
  // to be kept open.
  enum class Token { cookie, descriptor };

  BusObjectPlaces service;
  Token token = Token::cookie;
  const char* giveBack = nullptr;
  Bus::Arguments arguments;  // of the method Inhibit
};

// One inhibition at one service, taken whenever the service is there for as long as it is wanted.
// A service that appears later gets it, one that refuses goes without.
class Inhibition : public std::enable_shared_from_this<Inhibition> {
 public:
  static std::shared_ptr<Inhibition> take(Bus& bus, SystemLog& log, InhibitionRequest request);

  // No longer wanted. One that the service is just about to grant is given back as soon as it is.
  void release();

 private:
  // What to give back, and where.
  struct Cookie {
    std::string owner;
    const char* path;
    uint32_t number;
  };
  using Token = std::variant<std::monostate, Cookie, BusMessageHandle>;

  Inhibition(Bus& bus, SystemLog& log, InhibitionRequest request);
  void changeOwner(const std::string& owner);
  void ask(const char* path);
  Token tokenIn(sd_bus_message* reply, const std::string& owner, const char* path);
  void giveBack(Token token);

  Bus& bus_;
  ServiceComplaint complaint_;
  const InhibitionRequest request_;
  std::string owner_;
  unsigned round_ = 0;  // grows when what has been asked for is no longer wanted
  Token held_;
  std::unique_ptr<Subscription> ownerWatch_;
};

}  // namespace tovalin
