// The bus on the run loop of the real program.

#include <gmock/gmock.h>

#include "platform/dbus/bus.h"
#include "platform/qt/qt_descriptor_watcher.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/private_bus.h"
#include "tests/integration/qt/application_test.h"

namespace tovalin::test {
namespace {

class BusOnQtTest : public ApplicationTest {
 protected:
  const std::unique_ptr<DescriptorWatcher> descriptors_ = makeQtDescriptorWatcher();
  fake::FakeSystemLog log_;
  PrivateBus daemon_;
  Bus bus_{"test bus", daemon_.address(), *queue_, *descriptors_, log_};
};

TEST_F(BusOnQtTest, AnswersArrive) {
  bool answered = false;
  bus_.call(kBusDaemon, "GetId", nullptr, [&](const BusReply& reply) {
    answered = reply.ok();
    application_.quit();
  });
  EXPECT_FALSE(answered);
  run();
  EXPECT_TRUE(answered);
}

int neverAnswer(sd_bus_message* /*call*/, void* /*context*/, sd_bus_error* /*error*/) {
  return 1;
}

TEST_F(BusOnQtTest, TimeoutsFallDue) {
  static const sd_bus_vtable kTable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("Ask", "", "", neverAnswer, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  };
  constexpr BusObject kSilent{"org.example.Silent", "/silent", "org.example.Silent"};
  Bus service("service", daemon_.address(), *queue_, *descriptors_, log_);
  const auto object = service.exportObject(kSilent.path, kSilent.interface, kTable, nullptr);
  const auto name = service.ownName(kSilent.service);
  std::string error;
  const auto watch = bus_.onOwner(kSilent.service, [&](const std::string& owner) {
    if (owner.empty()) return;
    bus_.call(kSilent, "Ask", nullptr,
              [&](const BusReply& reply) {
                error = reply.error;
                application_.quit();
              },
              {.timeoutSeconds = 0.05});
  });
  run();
  EXPECT_NE(error, "");
}

TEST_F(BusOnQtTest, TheEndOfTheBusIsNoticed) {
  std::vector<std::string> owners;
  const auto watch = bus_.onOwner(kBusDaemon.service, [&](const std::string& owner) {
    owners.push_back(owner);
    if (owners.size() == 1) daemon_.stop();
    if (owners.size() == 2) application_.quit();
  });
  run();
  EXPECT_THAT(owners, testing::ElementsAre(kBusDaemon.service, ""));
}

}  // namespace
}  // namespace tovalin::test
