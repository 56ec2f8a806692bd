#include "companion/server/core/clean_text.h"
#include "companion/server/net/client_address.h"
#include "companion/server/options.h"
#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

class FrameRulesTest : public SwitchboardTest {};

std::string nested(int depth) {
  return R"({"type":"dbg","x":)" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

TEST_F(FrameRulesTest, FramesThatAreNotOneJsonObjectEndTheConnection) {
  for (const std::string& text : {
           std::string(""),
           std::string("hello"),
           std::string("[]"),
           std::string("null"),
           std::string("7"),
           std::string(R"("register")"),
           std::string(R"({"type":"dbg")"),
           std::string(R"({"type":"dbg"} {})"),
           std::string(R"({'type':'dbg'})"),
           std::string("{\"type\":\"\xff\"}"),
           std::string(R"({"type":"\ud800"})"),
           std::string("{\"type\":\"dbg\0\"}", 15),
           nested(9),
           std::string(250'000, '['),
           std::string(250'000, '{'),
       }) {
    for (const auto endpoint : {Endpoint::host, Endpoint::viewer}) {
      const auto id = connect(endpoint);
      board_->received(id, text);
      ASSERT_TRUE(outbox_.closed.contains(id)) << text.substr(0, 40);
      EXPECT_EQ(outbox_.closed.at(id), CloseCode::invalidPayload);
    }
  }
}

TEST_F(FrameRulesTest, ObjectsOfReasonableDepthAreTaken) {
  const auto host = hostRegisters();
  for (const std::string& text :
       {nested(8), std::string(R"({"type":"dbg","m":"[[[[[[[[[[{{{{{{{{{{\"[[[[[[[[[["})")}) {
    board_->received(host, text);
    EXPECT_THAT(outbox_.closed, IsEmpty()) << text;
  }
}

TEST_F(FrameRulesTest, BinaryFramesEndTheConnection) {
  const auto host = hostRegisters();
  board_->receivedBinary(host);
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::unsupportedData);
}

TEST_F(FrameRulesTest, ABurstPassesAndAFloodDoesNot) {
  const auto host = hostRegisters();
  for (int i = 0; i < 199; ++i) board_->received(host, "{}");
  EXPECT_THAT(outbox_.closed, IsEmpty());
  board_->received(host, "{}");
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::policyViolation);
}

TEST_F(FrameRulesTest, TwentyFramesASecondAreNoFlood) {
  const auto host = hostRegisters();
  for (int second = 0; second < 120; ++second) {
    for (int i = 0; i < 20; ++i) board_->received(host, "{}");
    pass(1s);
  }
  EXPECT_THAT(outbox_.closed, IsEmpty());
}

TEST_F(FrameRulesTest, PingsCanFloodToo) {
  const auto viewer = viewerConnects();
  for (int i = 0; i < 200; ++i) board_->receivedControl(viewer);
  EXPECT_THAT(outbox_.closed, IsEmpty());
  board_->receivedControl(viewer);
  EXPECT_EQ(outbox_.closed.at(viewer), CloseCode::policyViolation);
}

TEST_F(FrameRulesTest, FewButHugeFramesAreAFlood) {
  const auto host = hostRegisters();
  const std::string huge = R"({"type":"dbg","m":")" + std::string(255 * 1024, 'x') + R"("})";
  for (int i = 0; i < 8; ++i) board_->received(host, huge);
  EXPECT_THAT(outbox_.closed, IsEmpty());
  board_->received(host, huge);
  EXPECT_EQ(outbox_.closed.at(host), CloseCode::policyViolation);
}

TEST_F(FrameRulesTest, ClosedConnectionsAreHeardNoMore) {
  const auto host = hostRegisters();
  board_->receivedBinary(host);
  says(host, registration());
  board_->receivedBinary(host);
  board_->receivedControl(host);
  board_->closed(host, true);
  EXPECT_THAT(told(host), IsEmpty());
}

TEST(CleanTextTest, KeepsWhatPeopleReadAndDropsTheRest) {
  EXPECT_EQ(cleanText("", 64), "");
  EXPECT_EQ(cleanText(" a b ", 64), "a b");
  EXPECT_EQ(cleanText("a\tb\r\nc", 64), "abc");
  EXPECT_EQ(cleanText("\u0085\u009b\u200e\u202e\u2067x", 64), "x");
  EXPECT_EQ(cleanText("naïve 日本 🖥", 64), "naïve 日本 🖥");
  EXPECT_EQ(cleanText("日本語", 2), "日本");
  EXPECT_EQ(cleanText("ab c", 3), "ab");
}

TEST(AddressGroupTest, CountsHouseholdsNotAddresses) {
  EXPECT_EQ(addressGroup("192.0.2.7"), "192.0.2.7");
  EXPECT_EQ(addressGroup("::ffff:192.0.2.7"), "192.0.2.7");
  EXPECT_EQ(addressGroup("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
  EXPECT_EQ(addressGroup("2001:db8:1:2::9"), "2001:db8:1:2::/64");
  EXPECT_EQ(addressGroup("fe80::1%eth0"), "fe80::/64");
  EXPECT_EQ(addressGroup(""), "");
}

std::variant<Options, std::string> parse(std::vector<const char*> words) {
  return parseOptions(words);
}

TEST(OptionsTest, AreReadFromTheCommandLine) {
  const auto none = std::get<Options>(parse({}));
  EXPECT_EQ(none.address, "127.0.0.1");
  EXPECT_EQ(none.port, 8080);
  EXPECT_FALSE(none.printPins);
  const auto all = std::get<Options>(
      parse({"--listen", "[::1]:0", "--state", "s", "--viewer", "v", "--print-pins"}));
  EXPECT_EQ(all.address, "::1");
  EXPECT_EQ(all.port, 0);
  EXPECT_EQ(all.state, "s");
  EXPECT_EQ(all.viewer, "v");
  EXPECT_TRUE(all.printPins);
}

TEST(OptionsTest, WrongOnesAreNamed) {
  for (const auto& words : std::vector<std::vector<const char*>>{
           {"--listen", "8080"},
           {"--listen", "127.0.0.1:"},
           {"--listen", ":8080"},
           {"--listen", "127.0.0.1:65536"},
           {"--listen", "127.0.0.1:-1"},
           {"--listen", "127.0.0.1:80x"},
           {"--listen", "::1:8080"},
           {"--listen"},
           {"--state"},
           {"--nonsense"},
           {"stray"},
       }) {
    const auto result = parse(words);
    ASSERT_TRUE(std::holds_alternative<std::string>(result)) << words.back();
    EXPECT_THAT(std::get<std::string>(result), HasSubstr(words.back()));
  }
}

}  // namespace
}  // namespace tovalin::server
