#include "platform/dbus/inhibition.h"

#include <utility>

#include "platform/dbus/bus_message.h"
#include "platform/weak_task.h"

namespace tovalin {

std::shared_ptr<Inhibition> Inhibition::take(Bus& bus, SystemLog& log, InhibitionRequest request) {
  std::shared_ptr<Inhibition> inhibition(new Inhibition(bus, log, std::move(request)));
  inhibition->ownerWatch_ = bus.onOwner(
      inhibition->request_.service.object.service,
      weakly(inhibition,
             [](Inhibition& self, const std::string& owner) { self.changeOwner(owner); }));
  return inhibition;
}

Inhibition::Inhibition(Bus& bus, SystemLog& log, InhibitionRequest request)
    : bus_(bus), complaint_(log, request.service.object.service), request_(std::move(request)) {}

void Inhibition::release() {
  ownerWatch_.reset();
  ++round_;
  giveBack(std::exchange(held_, {}));
}

void Inhibition::changeOwner(const std::string& owner) {
  // The last owner may still be alive, having only passed on the name.
  giveBack(std::exchange(held_, {}));
  owner_ = owner;
  ++round_;
  if (!owner_.empty()) ask(request_.service.object.path);
}

void Inhibition::ask(const char* path) {
  const auto& service = request_.service;
  // Holds this until the answer: what is granted after all must be given back. For the same reason
  // the answer has all the time in the world.
  auto answered = [self = shared_from_this(), round = round_, owner = owner_,
                   path](const BusReply& reply) {
    const bool wanted = round == self->round_;
    if (reply.ok()) {
      auto token = self->tokenIn(reply.message, owner, path);
      if (wanted) {
        self->held_ = std::move(token);
      } else {
        self->giveBack(std::move(token));
      }
    } else if (const char* other = self->request_.service.otherPath;
               wanted && other != nullptr && other != path) {
      self->ask(other);
    }
  };
  bus_.call({owner_.c_str(), path, service.object.interface}, "Inhibit", request_.arguments,
            std::move(answered), {.timeoutSeconds = kNoTimeout});
}

Inhibition::Token Inhibition::tokenIn(sd_bus_message* reply, const std::string& owner,
                                      const char* path) {
  if (request_.token == InhibitionRequest::Token::descriptor) {
    int descriptor = -1;
    if (sd_bus_message_read_basic(reply, SD_BUS_TYPE_UNIX_FD, &descriptor) > 0) {
      // The message closes its descriptors when it goes.
      return BusMessageHandle(sd_bus_message_ref(reply));
    }
  } else if (const auto number = readUint32(reply)) {
    return Cookie{owner, path, *number};
  }
  complaint_.answerOfWrongType();
  return {};
}

void Inhibition::giveBack(Token token) {
  const auto* cookie = std::get_if<Cookie>(&token);
  if (cookie == nullptr) return;
  bus_.call(
      {cookie->owner.c_str(), cookie->path, request_.service.object.interface}, request_.giveBack,
      [&](sd_bus_message* call) { sd_bus_message_append(call, "u", cookie->number); }, nullptr);
}

}  // namespace tovalin
