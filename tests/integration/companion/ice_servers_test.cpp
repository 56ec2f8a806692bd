#include "companion/server/core/ice_servers.h"

#include <gtest/gtest.h>

#include "companion/server/core/secrets.h"
#include "tests/fakes/fake_companion.h"

namespace tovalin::server {
namespace {

TEST(IceServersTest, CredentialsEndWhenTheUsernameSays) {
  fake::FakeClock clock;
  clock.passed = std::chrono::seconds(400);
  const IceSettings settings{.stun = {"stun:a", "stun:b"},
                             .turn = {"turn:c?transport=udp", "turns:c"},
                             .turnSecret = "north",
                             .turnLife = std::chrono::seconds(86600)};
  EXPECT_EQ(iceServers(settings, clock), Json::parse(R"([
    {"urls": ["stun:a", "stun:b"]},
    {"urls": ["turn:c?transport=udp", "turns:c"],
     "username": "1700087000",
     "credential": "kvEQoOoNUuHrGc0Dbm0NX+bhwJo="}
  ])"));
}

TEST(IceServersTest, NoServersMakeAnEmptyList) {
  EXPECT_EQ(iceServers({}, fake::FakeClock()), Json::array());
}

TEST(IceServersTest, SignaturesAreThoseOfRfc2202) {
  const auto digits = [](std::string_view key, std::string_view text) {
    return toHex(hmacSha1(key, text).value_or("failed"));
  };
  EXPECT_EQ(digits("Jefe", "what do ya want for nothing?"),
            "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
  EXPECT_EQ(
      digits(std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First"),
      "aa4ae5e15272d00e95705637ce8a3b55ed402112");
}

TEST(IceServersTest, Base64IsPadded) {
  EXPECT_EQ(base64(""), "");
  EXPECT_EQ(base64("f"), "Zg==");
  EXPECT_EQ(base64("fo"), "Zm8=");
  EXPECT_EQ(base64("foo"), "Zm9v");
  EXPECT_EQ(base64("\xff\xfe\xfd"), "//79");
}

}  // namespace
}  // namespace tovalin::server
