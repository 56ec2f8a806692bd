#include "signalling/messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

// Every kind of JSON value but an object.
std::vector<json> valuesThatAreNoObjects() {
  return {json(),
          json(true),
          json(7),
          json(-1),
          json(1.5),
          json("text"),
          json::array({json::object()}),
          json::binary({1, 2}),
          json(json::value_t::discarded)};
}

// Every kind of JSON value but a string.
std::vector<json> valuesThatAreNoStrings() {
  return {json(), json(false), json(7), json(1.5), json::array({"text"}), json{{"a", "b"}}};
}

TEST(OutgoingMessages, CarryExactlyTheirFields) {
  EXPECT_EQ(registerMessage("id-1", "key-1", "Ada's computer"),
            json::parse(R"({"type":"register","role":"host","hostId":"id-1","hostKey":"key-1",
                            "name":"Ada's computer"})"));
  EXPECT_EQ(pairingStartMessage(), json::parse(R"({"type":"pairing-start"})"));
  EXPECT_EQ(offerMessage("v=0\r\n"), json::parse(R"({"type":"offer","sdp":"v=0\r\n"})"));
  EXPECT_EQ(lockMessage(true), json::parse(R"({"type":"lock","v":true})"));
  EXPECT_EQ(lockMessage(false), json::parse(R"({"type":"lock","v":false})"));
  EXPECT_EQ(byeMessage(), json::parse(R"({"type":"bye"})"));
  EXPECT_EQ(diagnosticMessage("ice-state 2"), json::parse(R"({"type":"dbg","m":"ice-state 2"})"));
}

TEST(OutgoingMessages, CandidateCarriesLineIndexAndMediaId) {
  EXPECT_EQ(iceMessage({"candidate:1", 3, "video"}),
            json::parse(R"({"type":"ice","candidate":"candidate:1","sdpMLineIndex":3,
                            "sdpMid":"video"})"));
}

TEST(OutgoingMessages, CandidateWithoutMediaIdCarriesAnEmptyOne) {
  EXPECT_EQ(iceMessage({"candidate:1", 0, std::nullopt}),
            json::parse(R"({"type":"ice","candidate":"candidate:1","sdpMLineIndex":0,
                            "sdpMid":""})"));
}

TEST(OutgoingMessages, AreObjectsWhosePairsAreNotTakenForLists) {
  for (const auto& message : {pairingStartMessage(), byeMessage(), lockMessage(true)}) {
    EXPECT_TRUE(message.is_object()) << message;
  }
}

TEST(ParseMessage, TakesEveryObject) {
  for (const char* text : {"{}", R"({"type":"registered"})", R"( { "type" : 7 } )",
                           "{\"a\":{\"b\":[1,2,{\"c\":null}]}}", "{\"k\":\"\\u20ac \xE2\x82\xAC\"}",
                           "{\"type\":\"a\\u0000b\"}"}) {
    const auto message = parseMessage(text);
    ASSERT_TRUE(message) << text;
    EXPECT_EQ(*message, json::parse(text));
  }
}

TEST(ParseMessage, DropsWhatIsNotAnObject) {
  for (const std::string_view text : {"",
                                      " ",
                                      "nothing JSON",
                                      "[]",
                                      R"([{"type":"registered"}])",
                                      "\"registered\"",
                                      "7",
                                      "1.5",
                                      "true",
                                      "null",
                                      "{",
                                      "}",
                                      R"({"type":"registered")",
                                      R"({"type":"registered"}})",
                                      R"({"type":"registered"} x)",
                                      R"({"type":})",
                                      R"({'type':'registered'})",
                                      R"({type:1})",
                                      R"({"type":1,})",
                                      R"({1:"type"})",
                                      "{\"n\":1e999}",
                                      "{\"n\":NaN}",
                                      "{\"n\":01}",
                                      "{\"s\":\"\\ud800\"}",
                                      "{\"s\":\"\xFF\"}",
                                      "{\"s\":\"\xED\xA0\x80\"}",
                                      "{\"s\":\"\x01\"}"}) {
    EXPECT_FALSE(parseMessage(text)) << text;
  }
  EXPECT_FALSE(parseMessage(std::string_view()));
  EXPECT_FALSE(parseMessage(std::string_view("{}\0", 3)));
  EXPECT_FALSE(parseMessage(std::string_view("{}\0{", 4)));
  EXPECT_FALSE(parseMessage(std::string_view("{\"a\":\"\0\"}", 9)));
}

// An object of `levels` levels, with a number inside the innermost.
std::string nested(int levels) {
  std::string text = "{\"a\":";
  text.append(static_cast<size_t>(levels - 1), '[').append("1");
  return text.append(static_cast<size_t>(levels - 1), ']').append("}");
}

TEST(ParseMessage, DropsWhatIsNestedTooDeepToBeCopied) {
  EXPECT_TRUE(parseMessage(nested(512)));
  EXPECT_FALSE(parseMessage(nested(513)));
  EXPECT_FALSE(parseMessage(nested(1'000'000)));
  EXPECT_FALSE(parseMessage(std::string(1'000'000, '[')));
}

TEST(ParseMessage, CountsNestingByLevelNotByContainer) {
  std::string wide = "{\"a\":[";
  for (int i = 0; i < 2000; ++i) wide += "{},[],";
  EXPECT_TRUE(parseMessage(wide + "1]}"));
}

TEST(MessageType, IsTheStringFieldType) {
  EXPECT_EQ(messageType(json{{"type", "registered"}}), "registered");
  EXPECT_EQ(messageType(json{{"type", "Registered"}}), "Registered");
  EXPECT_EQ(messageType(json{{"type", ""}}), "");
}

TEST(MessageType, IsAbsentWithoutAString) {
  EXPECT_FALSE(messageType(json::object()));
  EXPECT_FALSE(messageType(json{{"Type", "registered"}}));
  for (const auto& value : valuesThatAreNoStrings()) {
    EXPECT_FALSE(messageType(json{{"type", value}})) << value;
  }
  for (const auto& message : valuesThatAreNoObjects()) EXPECT_FALSE(messageType(message));
}

TEST(StringField, IsReadByItsExactKey) {
  const json message{{"pin", "123456"}, {"PIN", "no"}, {"", "empty key"}};
  EXPECT_EQ(stringField(message, "pin"), "123456");
  EXPECT_EQ(stringField(message, ""), "empty key");
  EXPECT_FALSE(stringField(message, "Pin"));
  EXPECT_FALSE(stringField(message, "pi"));
}

TEST(StringField, IsAbsentWhenOfAnotherType) {
  for (const auto& value : valuesThatAreNoStrings()) {
    EXPECT_FALSE(stringField(json{{"pin", value}}, "pin")) << value;
  }
  for (const auto& message : valuesThatAreNoObjects()) {
    EXPECT_FALSE(stringField(message, "pin"));
  }
}

TEST(WholeNumberField, IsANumberWithoutAFractionHoweverWritten) {
  const std::vector<std::pair<const char*, double>> cases = {
      {"0", 0},
      {"1", 1},
      {"1.0", 1},
      {"-3", -3},
      {"1e2", 100},
      {"-0.0", 0},
      {"2147483647", 2147483647.0},
      {"4294967296", 4294967296.0},
      {"18446744073709551615", 18446744073709551615.0},
      {"99999999999999999999", 1e20},
      {"1e300", 1e300},
  };
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(wholeNumberField(json{{"n", json::parse(text)}}, "n"), number) << text;
  }
}

TEST(WholeNumberField, IsAbsentWhenFractionalOrOfAnotherType) {
  const std::vector<json> values = {json(1.5),
                                    json(-0.25),
                                    json(2147483647.5),
                                    json("1"),
                                    json(true),
                                    json(),
                                    json("a"),
                                    json::array({1}),
                                    json{{"n", 1}},
                                    json(std::numeric_limits<double>::infinity()),
                                    json(std::numeric_limits<double>::quiet_NaN())};
  for (const auto& value : values) {
    EXPECT_FALSE(wholeNumberField(json{{"n", value}}, "n")) << value;
  }
  EXPECT_FALSE(wholeNumberField(json::object(), "n"));
  for (const auto& message : valuesThatAreNoObjects()) {
    EXPECT_FALSE(wholeNumberField(message, "n"));
  }
}

TEST(IceServerList, HoldsTheObjectsInOrder) {
  const auto message =
      json::parse(R"({"type":"registered","iceServers":[{"urls":["turn:a"]},{},{"urls":"b"}]})");
  EXPECT_THAT(iceServerList(message), ElementsAre(json::parse(R"({"urls":["turn:a"]})"),
                                                  json::object(), json::parse(R"({"urls":"b"})")));
}

TEST(IceServerList, IsEmptyWhenAbsent) {
  EXPECT_THAT(iceServerList(json{{"type", "registered"}}), IsEmpty());
}

TEST(IceServerList, IsEmptyAsAWholeWhenOneElementIsNoObject) {
  for (const auto& value : valuesThatAreNoObjects()) {
    const json list = json::array({json{{"urls", {"turn:a"}}}, value});
    EXPECT_THAT(iceServerList(json{{"iceServers", list}}), IsEmpty()) << list.size();
  }
}

TEST(IceServerList, IsEmptyWhenNotAnArray) {
  for (const auto& value :
       {json(), json(1), json("turn:a"), json{{"urls", {"turn:a"}}}, json(true)}) {
    EXPECT_THAT(iceServerList(json{{"iceServers", value}}), IsEmpty()) << value;
  }
  for (const auto& message : valuesThatAreNoObjects()) {
    EXPECT_THAT(iceServerList(message), IsEmpty());
  }
}

}  // namespace
}  // namespace tovalin
