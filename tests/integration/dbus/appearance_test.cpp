#include <gmock/gmock.h>

#include "platform/dbus/portal_appearance.h"
#include "tests/integration/dbus/bus_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr BusObject kPortal = kPortalSettings;
constexpr auto kDark = ColorScheme::dark;
constexpr auto kLight = ColorScheme::light;

class PortalAppearanceTest : public DesktopTest {
 protected:
  void start() {
    appearance_ = makePortalAppearance(*sessionBus_, log_);
    observation_ = appearance_->onChange(
        [this](std::optional<ColorScheme> scheme) { changes_.push_back(scheme); });
  }

  void portalAnswers(const std::string& code) {
    services_->method(kPortal, "Read", "ss", "v", code);
  }

  void portalSignals(const char* group, const char* key, unsigned value) {
    services_->emitFields(kPortal, "SettingChanged", "ssv", "av", 3, "s", group, "s", key, "u",
                          value);
  }

  bool becomes(std::optional<ColorScheme> scheme) {
    return loop_.runUntil([=, this] { return appearance_->current() == scheme; });
  }

  std::unique_ptr<Appearance> appearance_;
  std::unique_ptr<Subscription> observation_;
  std::vector<std::optional<ColorScheme>> changes_;
};

TEST_F(PortalAppearanceTest, TheSchemeBecomesKnownLater) {
  startServices({kPortal.service});
  start();
  EXPECT_EQ(appearance_->current(), std::nullopt);
  EXPECT_THAT(changes_, IsEmpty());
  EXPECT_TRUE(becomes(kDark));
  EXPECT_THAT(changes_, ElementsAre(kDark));
}

TEST_F(PortalAppearanceTest, NoPreferenceAndAPreferenceForLightAreLight) {
  startServices({kPortal.service});
  portalAnswers("ret = dbus.UInt32(0, variant_level=2)");
  start();
  ASSERT_TRUE(becomes(kLight));
  portalSignals("org.freedesktop.appearance", "color-scheme", 1);
  ASSERT_TRUE(becomes(kDark));
  portalSignals("org.freedesktop.appearance", "color-scheme", 2);
  ASSERT_TRUE(becomes(kLight));
  EXPECT_THAT(changes_, ElementsAre(kLight, kDark, kLight));
}

TEST_F(PortalAppearanceTest, AnAnswerWithoutTheSecondWrappingIsUnderstood) {
  startServices({kPortal.service});
  portalAnswers("ret = dbus.UInt32(1, variant_level=1)");
  start();
  EXPECT_TRUE(becomes(kDark));
}

TEST_F(PortalAppearanceTest, OtherSettingsChangeNothing) {
  startServices({kPortal.service});
  start();
  ASSERT_TRUE(becomes(kDark));
  portalSignals("org.freedesktop.appearance", "accent-color", 0);
  portalSignals("org.gnome.desktop.interface", "color-scheme", 0);
  settle();
  EXPECT_THAT(changes_, ElementsAre(kDark));
}

TEST_F(PortalAppearanceTest, WithoutAPortalTheSchemeIsUnknown) {
  start();
  settle();
  settle();
  EXPECT_EQ(appearance_->current(), std::nullopt);
  EXPECT_THAT(changes_, IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PortalAppearanceTest, APortalWithoutTheSettingLeavesItUnknown) {
  startServices({kPortal.service});
  portalAnswers(
      "raise dbus.exceptions.DBusException('?', name='org.freedesktop.portal.Error.NotFound')");
  start();
  settleAfterCalls(kPortal, "Read", 1);
  EXPECT_EQ(appearance_->current(), std::nullopt);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PortalAppearanceTest, ALateAnswerHoldsNothingUpAndCounts) {
  startServices({kPortal.service});
  portalAnswers(services_->gated("ret = dbus.UInt32(1, variant_level=2)"));
  start();
  settle();
  bool ran = false;
  loop_.queue.post([&] { ran = true; });
  loop_.runReady();
  EXPECT_TRUE(ran);
  EXPECT_EQ(appearance_->current(), std::nullopt);
  services_->openGate();
  EXPECT_TRUE(becomes(kDark));
}

TEST_F(PortalAppearanceTest, APortalThatLiesLeavesItUnknownAndIsLoggedOnce) {
  startServices({kPortal.service});
  portalAnswers("ret = dbus.String('dark', variant_level=2)");
  start();
  ASSERT_TRUE(loop_.runUntil([this] { return log_.lines().size() == 1; }));
  EXPECT_EQ(appearance_->current(), std::nullopt);
  portalSignals("org.freedesktop.appearance", "color-scheme", 1);
  ASSERT_TRUE(becomes(kDark));
  services_->emitFields(kPortal, "SettingChanged", "ssv", "av", 3, "s",
                        "org.freedesktop.appearance", "s", "color-scheme", "s", "light");
  ASSERT_TRUE(becomes(std::nullopt));
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] org.freedesktop.portal.Desktop answers with the wrong type"));
}

TEST_F(PortalAppearanceTest, APortalMayComeLateAndGo) {
  startServices({kPortal.service});
  services_->release(kPortal.service);
  start();
  settle();
  ASSERT_EQ(appearance_->current(), std::nullopt);
  services_->own(kPortal.service);
  ASSERT_TRUE(becomes(kDark));
  services_->release(kPortal.service);
  ASSERT_TRUE(becomes(std::nullopt));
  EXPECT_THAT(changes_, ElementsAre(kDark, std::nullopt));
}

TEST_F(PortalAppearanceTest, APortalThatIsInstalledIsStarted) {
  const PrivateBus::CommandLines startable = {
      {kPortal.service,
       "/usr/bin/python3 " TOVALIN_DESKTOP_SERVICES " ADDRESS " + std::string(kPortal.service)}};
  PrivateBus daemon(startable);
  sessionBus_ = connectTo("session bus", daemon.address());
  start();
  EXPECT_TRUE(becomes(kDark));
}

TEST_F(PortalAppearanceTest, WithoutABusTheSchemeIsUnknown) {
  sessionBus_ = connectTo("session bus", "");
  start();
  loop_.runReady();
  EXPECT_EQ(appearance_->current(), std::nullopt);
  EXPECT_EQ(loop_.queue.pendingTasks(), 0u);
}

TEST_F(PortalAppearanceTest, AnObservationEndsWithItsHandle) {
  startServices({kPortal.service});
  start();
  observation_.reset();
  EXPECT_TRUE(becomes(kDark));
  EXPECT_THAT(changes_, IsEmpty());
}

}  // namespace
}  // namespace tovalin::test
