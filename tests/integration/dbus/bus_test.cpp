#include "platform/dbus/bus.h"

#include <gmock/gmock.h>

#include <optional>
#include <thread>

#include "platform/dbus/bus_message.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/private_bus.h"
#include "tests/integration/dbus/scripted_socket.h"
#include "tests/integration/dbus/test_loop.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr BusObject kEcho{"org.example.Echo", "/org/example/Echo", "org.example.Echo"};

int say(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
  ++*static_cast<int*>(context);
  return sd_bus_reply_method_return(call, "s", readString(call).value_or("?").c_str());
}

int refuse(sd_bus_message* /*call*/, void* /*context*/, sd_bus_error* error) {
  return sd_bus_error_set(error, "org.example.Refused", "no");
}

int neverAnswer(sd_bus_message* /*call*/, void* /*context*/, sd_bus_error* /*error*/) {
  return 1;
}

const sd_bus_vtable kEchoTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Say", "s", "s", say, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Refuse", "", "", refuse, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("NeverAnswer", "", "", neverAnswer, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("Said", "s", 0),
    SD_BUS_VTABLE_END,
};

class BusTest : public testing::Test {
 protected:
  std::unique_ptr<Bus> connectTo(const std::string& address) {
    return std::make_unique<Bus>("test bus", address, loop_.queue, loop_, log_);
  }

  // The service, on a connection of its own.
  void startEcho() {
    if (!service_) service_ = connectTo(daemon_.address());
    object_ = service_->exportObject(kEcho.path, kEcho.interface, kEchoTable, &calls_);
    name_ = service_->ownName(kEcho.service);
  }

  void stopEcho() {
    name_.reset();
    object_.reset();
  }

  void waitForOwner(Bus& bus, bool present) {
    std::optional<std::string> owner;
    const auto watch = bus.onOwner(kEcho.service, [&](const std::string& now) { owner = now; });
    ASSERT_TRUE(loop_.runUntil([&] { return owner && !owner->empty() == present; }));
  }

  Bus::ReplyHandler keepAnswer() {
    return [this](const BusReply& reply) {
      ++answers_;
      text_ = reply.ok() ? readString(reply.message) : std::nullopt;
      error_ = reply.error;
    };
  }

  void callSay(Bus& bus) {
    bus.call(
        kEcho, "Say", [](sd_bus_message* call) { sd_bus_message_append(call, "s", "hello"); },
        keepAnswer());
  }

  bool runUntilAnswered() {
    return loop_.runUntil([this] { return answers_ > 0; });
  }

  TestLoop loop_;
  fake::FakeSystemLog log_;
  PrivateBus daemon_;
  int calls_ = 0;
  std::unique_ptr<Bus> service_;
  std::unique_ptr<Subscription> object_;
  std::unique_ptr<Subscription> name_;
  std::optional<std::string> text_;
  std::string error_;
  int answers_ = 0;
};

TEST_F(BusTest, ACallIsAnsweredLaterAndNotWithinTheCall) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  callSay(*bus);
  EXPECT_EQ(answers_, 0);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_EQ(text_, "hello");
  EXPECT_EQ(calls_, 1);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BusTest, AnUnusedBusIsNotConnected) {
  ScriptedSocket socket(loop_, "");
  const auto bus = connectTo(socket.address());
  loop_.runReady();
  EXPECT_EQ(socket.connections(), 0u);
}

TEST_F(BusTest, AnErrorReplyNamesTheError) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  bus->call(kEcho, "Refuse", nullptr, keepAnswer());
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_EQ(text_, std::nullopt);
  EXPECT_EQ(error_, "org.example.Refused");
}

TEST_F(BusTest, ACallToNobodyFails) {
  const auto bus = connectTo(daemon_.address());
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_THAT(error_, StartsWith("org.freedesktop.DBus.Error."));
}

TEST_F(BusTest, ACallThatIsNeverAnsweredFailsAfterItsTimeout) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  bus->call(kEcho, "NeverAnswer", nullptr, keepAnswer(), {.timeoutSeconds = 0.05});
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_THAT(error_, StartsWith("org.freedesktop.DBus.Error."));
  EXPECT_EQ(answers_, 1);
}

TEST_F(BusTest, ACallWithoutAReplyHandlerIsCarriedOut) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  bus->call(
      kEcho, "Say", [](sd_bus_message* call) { sd_bus_message_append(call, "s", "hello"); },
      nullptr);
  EXPECT_TRUE(loop_.runUntil([this] { return calls_ == 1; }));
}

TEST_F(BusTest, SignalsArriveAsLongAsTheyAreObserved) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  std::vector<std::string> heard;
  auto observation = bus->onSignal(kEcho, "Said", [&](sd_bus_message* signal) {
    heard.push_back(readString(signal).value_or("?"));
  });
  const auto emit = [this](const char* word) {
    service_->emitSignal(kEcho.path, kEcho.interface, "Said", [word](sd_bus_message* signal) {
      sd_bus_message_append(signal, "s", word);
    });
  };
  // The bus has installed the observation once it has answered a later call.
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  emit("one");
  ASSERT_TRUE(loop_.runUntil([&] { return !heard.empty(); }));
  observation.reset();
  emit("two");
  answers_ = 0;
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_THAT(heard, ElementsAre("one"));
}

// Sends so many signals that they have all reached the receivers' sockets.
void flood(const std::string& address, int count) {
  sd_bus* created = nullptr;
  ASSERT_GE(sd_bus_new(&created), 0);
  const BusHandle peer(created);
  ASSERT_GE(sd_bus_set_address(created, address.c_str()), 0);
  ASSERT_GE(sd_bus_set_bus_client(created, 1), 0);
  ASSERT_GE(sd_bus_start(created), 0);
  for (int i = 0; i < count; ++i) {
    ASSERT_GE(sd_bus_emit_signal(created, kEcho.path, kEcho.interface, "Said", ""), 0);
  }
  ASSERT_GE(sd_bus_call_method(created, kBusDaemon.service, kBusDaemon.path, kBusDaemon.interface,
                               "GetId", nullptr, nullptr, ""),
            0);
}

TEST_F(BusTest, AFloodOfSignalsArrivesWholeAndLeavesTheQueueItsTurn) {
  // As many as a socket takes at once.
  constexpr int kFlood = 120;
  const auto bus = connectTo(daemon_.address());
  int heard = 0;
  int heardByTheTask = 0;
  const auto observation =
      bus->onSignal({nullptr, kEcho.path, kEcho.interface}, "Said", [&](sd_bus_message*) {
        if (++heard == 1) loop_.queue.post([&] { heardByTheTask = heard; });
      });
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  flood(daemon_.address(), kFlood);
  ASSERT_TRUE(loop_.runUntil([&] { return heard == kFlood; }));
  EXPECT_GT(heardByTheTask, 0);
  EXPECT_LT(heardByTheTask, kFlood);
}

TEST_F(BusTest, AnObserverMayEndItsOwnObservation) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  int heard = 0;
  std::unique_ptr<Subscription> observation;
  observation = bus->onSignal(kEcho, "Said", [&](sd_bus_message*) {
    ++heard;
    observation.reset();
  });
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  service_->emitSignal(kEcho.path, kEcho.interface, "Said", nullptr);
  service_->emitSignal(kEcho.path, kEcho.interface, "Said", nullptr);
  answers_ = 0;
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_EQ(heard, 1);
}

TEST_F(BusTest, TheOwnerOfANameIsToldAtOnceAndAtEachChange) {
  const auto bus = connectTo(daemon_.address());
  std::vector<std::string> owners;
  const auto watch =
      bus->onOwner(kEcho.service, [&](const std::string& owner) { owners.push_back(owner); });
  EXPECT_THAT(owners, IsEmpty());
  ASSERT_TRUE(loop_.runUntil([&] { return owners.size() == 1; }));
  startEcho();
  ASSERT_TRUE(loop_.runUntil([&] { return owners.size() == 2; }));
  stopEcho();
  ASSERT_TRUE(loop_.runUntil([&] { return owners.size() == 3; }));
  EXPECT_THAT(owners, ElementsAre("", StartsWith(":"), ""));
}

TEST_F(BusTest, AServiceThatWasThereBeforeIsFound) {
  startEcho();
  const auto first = connectTo(daemon_.address());
  waitForOwner(*first, true);
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
}

TEST_F(BusTest, AMissingBusFailsCallsLaterAndIsLoggedOnceAndNeverLookedForAgain) {
  const auto bus = connectTo("unix:path=/nonexistent/bus");
  callSay(*bus);
  callSay(*bus);
  std::optional<std::string> owner;
  const auto watch = bus->onOwner(kEcho.service, [&](const std::string& now) { owner = now; });
  const auto signals = bus->onSignal(kEcho, "Said", [](sd_bus_message*) {});
  EXPECT_EQ(answers_, 0);
  EXPECT_EQ(owner, std::nullopt);
  ASSERT_TRUE(loop_.runUntil([&] { return answers_ == 2 && owner; }));
  EXPECT_EQ(error_, SD_BUS_ERROR_DISCONNECTED);
  EXPECT_EQ(owner, "");
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] test bus not available: No such file or directory"));
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(BusTest, ABusWithoutAnAddressIsMissing) {
  const auto bus = connectTo("");
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(BusTest, ABusThatAnswersGarbageIsMissing) {
  ScriptedSocket socket(loop_, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
  const auto bus = connectTo(socket.address());
  callSay(*bus);
  std::optional<std::string> owner;
  const auto watch = bus->onOwner(kEcho.service, [&](const std::string& now) { owner = now; });
  EXPECT_EQ(answers_, 0);
  ASSERT_TRUE(loop_.runUntil([&] { return answers_ == 1 && owner; }));
  EXPECT_EQ(owner, "");
  loop_.runReady();
  EXPECT_THAT(log_.lines(), ElementsAre("[Tovalin] test bus not available: it refuses or does not "
                                        "speak the protocol"));
  loop_.queue.advance(3600);
  EXPECT_EQ(socket.connections(), 1u);
}

TEST_F(BusTest, ABusThatSpeaksGarbageOnceTrustedIsLeft) {
  // The first lines are what a bus says to a client it accepts.
  ScriptedSocket socket(loop_, "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n" +
                                   std::string(4000, '\x7f'));
  const auto bus = connectTo(socket.address());
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_NE(error_, "");
  loop_.runReady();
  EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(BusTest, ABusThatNeverAnswersHoldsNothingUp) {
  ScriptedSocket socket(loop_, "");
  const auto bus = connectTo(socket.address());
  callSay(*bus);
  bool ran = false;
  loop_.queue.post([&] { ran = true; });
  ASSERT_TRUE(loop_.runUntil([&] { return ran && socket.connections() == 1; }));
  loop_.runReady();
  EXPECT_EQ(answers_, 0);
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(BusTest, ABusThatDiesFailsItsCallsAndIsLoggedOnce) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  std::vector<std::string> owners;
  const auto watch =
      bus->onOwner(kEcho.service, [&](const std::string& owner) { owners.push_back(owner); });
  ASSERT_TRUE(loop_.runUntil([&] { return owners.size() == 1; }));
  service_.reset();
  bus->call(kEcho, "NeverAnswer", nullptr, keepAnswer());
  daemon_.stop();
  ASSERT_TRUE(loop_.runUntil([&] { return answers_ == 1 && owners.size() == 2; }));
  EXPECT_EQ(owners.back(), "");
  EXPECT_NE(error_, "");
  EXPECT_THAT(log_.lines(), ElementsAre("[Tovalin] test bus lost"));
}

TEST_F(BusTest, ABusThatComesBackHasEverythingAgain) {
  startEcho();
  const auto bus = connectTo(daemon_.address());
  std::vector<std::string> owners;
  const auto watch =
      bus->onOwner(kEcho.service, [&](const std::string& owner) { owners.push_back(owner); });
  ASSERT_TRUE(loop_.runUntil([&] { return !owners.empty() && owners.back() != ""; }));
  std::vector<std::string> heard;
  const auto observation = bus->onSignal(kEcho, "Said", [&](sd_bus_message* signal) {
    heard.push_back(readString(signal).value_or("?"));
  });
  daemon_.stop();
  ASSERT_TRUE(loop_.runUntil([&] { return owners.back() == "" && log_.lines().size() == 2; }));
  // Missed once, and looked for again without a further line.
  loop_.queue.advance(30);
  loop_.runReady();
  daemon_.start();
  loop_.queue.advance(30);
  ASSERT_TRUE(loop_.runUntil([&] { return owners.back() != ""; }));
  callSay(*bus);
  ASSERT_TRUE(runUntilAnswered());
  EXPECT_EQ(text_, "hello");
  service_->emitSignal(kEcho.path, kEcho.interface, "Said",
                       [](sd_bus_message* signal) { sd_bus_message_append(signal, "s", "again"); });
  ASSERT_TRUE(loop_.runUntil([&] { return !heard.empty(); }));
  EXPECT_THAT(heard, ElementsAre("again"));
  EXPECT_EQ(log_.lines().size(), 2u);
}

TEST_F(BusTest, WhatWasHandedOutMayOutliveTheBus) {
  startEcho();
  auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  const auto watch = bus->onOwner(kEcho.service, [&](const std::string&) { ADD_FAILURE(); });
  const auto signals = bus->onSignal(kEcho, "Said", [](sd_bus_message*) { ADD_FAILURE(); });
  const auto object = bus->exportObject("/a", "org.example.A", kEchoTable, &calls_);
  const auto name = bus->ownName("org.example.A");
  callSay(*bus);
  bus.reset();
  service_->emitSignal(kEcho.path, kEcho.interface, "Said", nullptr);
  const auto other = connectTo(daemon_.address());
  waitForOwner(*other, true);
  EXPECT_EQ(answers_, 0);
}

TEST_F(BusTest, ABusMayGoWhileOneOfItsRepliesIsHandled) {
  startEcho();
  auto bus = connectTo(daemon_.address());
  waitForOwner(*bus, true);
  bool answered = false;
  bus->call(kEcho, "Refuse", nullptr, [&](const BusReply&) {
    bus.reset();
    answered = true;
  });
  EXPECT_TRUE(loop_.runUntil([&] { return answered; }));
}

}  // namespace
}  // namespace tovalin::test
