#include "companion/server/core/clean_text.h"
#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using namespace std::chrono_literals;
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

}  // namespace
}  // namespace tovalin::server
