#include "app/host_settings.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_system.h"

namespace tovalin {
namespace {

using ::testing::MatchesRegex;

constexpr const char* kDefault = "wss://signal.example/signal";

class HostSettingsTest : public ::testing::Test {
 protected:
  void launch() {
    settings_.migrateServerAddress();
    settings_.createIdentity();
  }

  fake::FakeUserDefaults defaults_;
  fake::FakeSecureRandom random_;
  HostSettings settings_{defaults_, random_, kDefault};
};

TEST_F(HostSettingsTest, FreshInstallReadsTheDefaults) {
  EXPECT_EQ(settings_.serverURL(), kDefault);
  EXPECT_EQ(settings_.hostId(), "");
  EXPECT_EQ(settings_.hostKey(), "");
  EXPECT_FALSE(settings_.hasPairedOnce());
  EXPECT_FALSE(settings_.loginConfigured());
}

TEST_F(HostSettingsTest, FreshInstallMakesAnIdentityOfTheRightForm) {
  launch();
  // POSIX extended expressions, as gmock takes them.
  EXPECT_THAT(settings_.hostId(),
              MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_THAT(settings_.hostKey(), MatchesRegex("[0-9a-f]{64}"));
}

TEST_F(HostSettingsTest, KeyHoldsTheRandomBytesInOrder) {
  random_.next = 0xf0;
  defaults_.strings["tovalin.hostId"] = "KEPT";
  launch();
  EXPECT_EQ(settings_.hostKey(),
            "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff000102030405060708090a0b0c0d0e0f");
}

TEST_F(HostSettingsTest, IdentitySurvivesEveryLaterLaunch) {
  launch();
  const auto id = settings_.hostId();
  const auto key = settings_.hostKey();
  launch();
  EXPECT_EQ(settings_.hostId(), id);
  EXPECT_EQ(settings_.hostKey(), key);
}

TEST_F(HostSettingsTest, EmptyIdentityIsMadeLikeAnAbsentOne) {
  defaults_.strings["tovalin.hostId"] = "";
  defaults_.strings["tovalin.hostKey"] = "";
  launch();
  EXPECT_EQ(settings_.hostId().size(), 36U);
  EXPECT_EQ(settings_.hostKey().size(), 64U);
}

TEST_F(HostSettingsTest, FailingRandomSourceLeavesAKeyOfZeros) {
  random_.failWith = 5;
  launch();
  EXPECT_EQ(settings_.hostKey(), std::string(64, '0'));
}

TEST_F(HostSettingsTest, BoundValuesAreStoredAtOnce) {
  settings_.setServerURL("ws://elsewhere/signal");
  settings_.setHasPairedOnce();
  settings_.setLoginConfigured();
  EXPECT_EQ(defaults_.strings["tovalin.serverURL"], "ws://elsewhere/signal");
  EXPECT_TRUE(defaults_.booleans["tovalin.hasPairedOnce"]);
  EXPECT_TRUE(defaults_.booleans["tovalin.loginConfigured"]);
}

struct Migration {
  const char* stored;
  const char* after;
};

class ServerAddressMigrationTest : public HostSettingsTest,
                                   public ::testing::WithParamInterface<Migration> {};

TEST_P(ServerAddressMigrationTest, MovesOnlyAnAddressThatEndsInTheRetiredPort) {
  defaults_.strings["tovalin.serverURL"] = GetParam().stored;
  launch();
  EXPECT_EQ(settings_.serverURL(), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, ServerAddressMigrationTest,
    ::testing::Values(Migration{"ws://10.0.0.2:9800", kDefault}, Migration{":9800", kDefault},
                      Migration{"not an address:9800", kDefault},
                      Migration{"ws://10.0.0.2:9800/", "ws://10.0.0.2:9800/"},
                      Migration{"ws://10.0.0.2:9800/signal", "ws://10.0.0.2:9800/signal"},
                      Migration{"ws://10.0.0.2:98000", "ws://10.0.0.2:98000"},
                      Migration{"ws://10.0.0.2:19800", "ws://10.0.0.2:19800"}, Migration{"", ""}));

TEST_F(HostSettingsTest, MigrationWritesNothingWhenThereIsNothingToMigrate) {
  defaults_.strings["tovalin.serverURL"] = "ws://10.0.0.2/signal";
  settings_.migrateServerAddress();
  EXPECT_THAT(defaults_.writes, ::testing::IsEmpty());
}

}  // namespace
}  // namespace tovalin
