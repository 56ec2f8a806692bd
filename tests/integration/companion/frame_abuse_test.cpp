// WebSocket frames that no honest client sends.

#include "tests/integration/companion/running_server.h"

namespace tovalin::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr uint8_t kText = 0x81, kTextBegins = 0x01, kContinues = 0x00, kEnds = 0x80;
constexpr uint8_t kClose = 0x88, kPing = 0x89, kPong = 0x8a;

class FrameAbuseTest : public RunningServer {
 protected:
  FrameAbuseTest() { start(); }

  int codeAfter(const std::string& bytes) {
    RawConnection phone(port_);
    EXPECT_THAT(phone.upgrade("/viewer"), StartsWith("HTTP/1.1 101 "));
    phone.write(bytes);
    return closeCodeIn(phone.readToEnd());
  }
  static std::string header(uint8_t first, const std::string& rest) {
    return std::string(1, static_cast<char>(first)) + rest;
  }
};

struct Breach {
  const char* what;
  std::string bytes;
};

TEST_F(FrameAbuseTest, BreachesOfTheProtocolEndTheConnectionWith1002) {
  using namespace std::string_literals;
  const std::string text = R"({"type":"leave"})";
  const Breach breaches[] = {
      {"unmasked", header(kText, "\x02{}")},
      {"compressed, which was not agreed", clientFrame(kText | 0x40, text)},
      {"second reserved bit", clientFrame(kText | 0x20, text)},
      {"third reserved bit", clientFrame(kText | 0x10, text)},
      {"reserved kind of data", clientFrame(0x83, text)},
      {"reserved kind of control", clientFrame(0x8b, text)},
      {"ping in pieces", clientFrame(0x09, "")},
      {"ping of 126 bytes", clientFrame(kPing, std::string(126, 'x'))},
      {"continuation of nothing", clientFrame(kEnds, text)},
      {"text inside a text", clientFrame(kTextBegins, "{") + clientFrame(kText, text)},
      {"length written too long", header(kText, "\xfe\x00\x02mask"s + "{}"s)},
      {"close of one byte", clientFrame(kClose, "x")},
      {"close with a code that may not be sent", clientFrame(kClose, "\x03\xed"s)},
      {"close with a reason that is not UTF-8", clientFrame(kClose, "\x03\xe8\xff"s)},
  };
  for (const auto& [what, bytes] : breaches) EXPECT_EQ(codeAfter(bytes), 1002) << what;
  expectServing();
}

TEST_F(FrameAbuseTest, SizeIsBoundedBeforeAnythingIsRead) {
  using namespace std::string_literals;
  const std::string gigabyte = header(kText, "\xff\x00\x00\x00\x00\x40\x00\x00\x00mask"s);
  EXPECT_EQ(codeAfter(gigabyte), 1009);
  const std::string negative = header(kText, "\xff\xff\xff\xff\xff\xff\xff\xff\xffmask"s);
  EXPECT_THAT(codeAfter(negative), testing::AnyOf(1002, 1009));
}

TEST_F(FrameAbuseTest, SizeIsBoundedOverAllPiecesOfAMessage) {
  std::string pieces = clientFrame(kTextBegins, std::string(64 * 1024, ' '));
  for (int i = 0; i < 4; ++i) pieces += clientFrame(kContinues, std::string(64 * 1024, ' '));
  EXPECT_EQ(codeAfter(pieces), 1009);
}

TEST_F(FrameAbuseTest, TextIsCheckedOverThePieces) {
  EXPECT_EQ(codeAfter(clientFrame(kTextBegins, "{\"type\":\"\xc3") + clientFrame(kEnds, "\x28\"}")),
            1007);
}

TEST_F(FrameAbuseTest, HonestMessageInPiecesWithAPingBetweenIsTaken) {
  RawConnection phone(port_);
  phone.upgrade("/viewer");
  phone.write(clientFrame(kTextBegins, R"({"type")") + clientFrame(kPing, "?") +
              clientFrame(kContinues, R"(:"pa)") + clientFrame(kEnds, R"(ir"})"));
  EXPECT_THAT(phone.readThrough("}"), HasSubstr("bad-request"));
}

TEST_F(FrameAbuseTest, NothingIsHeardAfterClose) {
  RawConnection phone(port_);
  phone.upgrade("/viewer");
  phone.write(clientFrame(kClose, "\x03\xe8") + clientFrame(kText, R"({"type":"pair"})"));
  const std::string frames = phone.readToEnd();
  EXPECT_EQ(closeCodeIn(frames), 1000);
  EXPECT_THAT(frames, Not(HasSubstr("pair-failed")));
}

TEST_F(FrameAbuseTest, CompressionIsNeverAgreed) {
  RawConnection phone(port_);
  const std::string answer = phone.upgrade(
      "/viewer", "Sec-WebSocket-Extensions: permessage-deflate; client_max_window_bits\r\n");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 101 "));
  EXPECT_THAT(answer, Not(HasSubstr("permessage-deflate")));
}

TEST_F(FrameAbuseTest, FloodOfPingsEndsTheConnection) {
  std::string pings;
  for (int i = 0; i < 300; ++i) pings += clientFrame(kPing, "");
  EXPECT_EQ(codeAfter(pings + clientFrame(kClose, "")), 1008);
}

TEST_F(FrameAbuseTest, FloodOfPongsEndsTheConnection) {
  std::string pongs;
  for (int i = 0; i < 300; ++i) pongs += clientFrame(kPong, "");
  EXPECT_EQ(codeAfter(pongs + clientFrame(kClose, "")), 1008);
}

}  // namespace
}  // namespace tovalin::test
