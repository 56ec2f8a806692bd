// The viewer's messages on the data channel.

#include "tests/unit/peer/session_fixture.h"

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

class WebRTCSessionInputTest : public SessionTest {
 protected:
  std::vector<json>& handled() { return owner->handler->messages; }
};

TEST_F(WebRTCSessionInputTest, HandsEveryObjectToTheInjectorBeforeTheCallReturns) {
  start();
  hostChannel()->viewerSends(R"({"t":"m","x":0.5,"y":0.25})");
  hostChannel()->viewerSends("{}");
  EXPECT_THAT(handled(), ElementsAre(json::parse(R"({"t":"m","x":0.5,"y":0.25})"), json::object()));
}

TEST_F(WebRTCSessionInputTest, TakesTextAndBinaryMessagesAlike) {
  start();
  hostChannel()->viewerSends(R"({"t":"p","b":0})", /*binary=*/true);
  hostChannel()->viewerSends(R"({"t":"r","b":0})", /*binary=*/false);
  EXPECT_EQ(handled().size(), 2u);
}

TEST_F(WebRTCSessionInputTest, DropsWhatIsNoObjectAndTakesTheNext) {
  start();
  std::string deep(100'000, '[');
  for (const std::string& message : std::vector<std::string>{
           "", "x", "[]", R"([{"t":"m"}])", "null", "7", "\"m\"", "{", R"({"t":"m")",
           "{\"t\":\"\xFF\"}", "{\"a\":" + deep, std::string("{}\0", 3)}) {
    hostChannel()->viewerSends(message);
    EXPECT_THAT(handled(), IsEmpty()) << message;
  }
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(handled(), ElementsAre(json{{"t", "m"}}));
}

TEST_F(WebRTCSessionInputTest, ReportsTheFirstMessageAloneWithItsSize) {
  start();
  hostChannel()->viewerSends(R"({"t":"k","s":"é"})");
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(server().diagnostics(), ElementsAre("first-input-received 18B"));
}

TEST_F(WebRTCSessionInputTest, ReportsAFirstMessageThatIsDropped) {
  start();
  hostChannel()->viewerSends("");
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(server().diagnostics(), ElementsAre("first-input-received 0B"));
}

TEST_F(WebRTCSessionInputTest, SecondSessionOfTheProcessReportsNoFirstInput) {
  start();
  hostChannel()->viewerSends(R"({"t":"m"})");
  session->close();
  makeSession();
  start();
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_EQ(server().diagnostics().size(), 1u);
  EXPECT_EQ(handled().size(), 2u);
}

TEST_F(WebRTCSessionInputTest, AFirstMessageThatNobodyCouldReportIsNotReportedLater) {
  const auto client = std::exchange(owner->client, nullptr);
  start();
  hostChannel()->viewerSends(R"({"t":"m"})");
  owner->client = client;
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(server().diagnostics(), IsEmpty());
  EXPECT_EQ(handled().size(), 2u);
}

TEST_F(WebRTCSessionInputTest, HearsItsOwnChannelAndEveryOneThatTheViewerOpens) {
  start();
  connection().viewerOpensChannel("first");
  connection().viewerOpensChannel("second");
  const auto channels = connection().dataChannels();
  ASSERT_EQ(channels.size(), 3u) << "a replaced channel stays in use";
  for (const auto& channel : channels) channel->viewerSends(R"({"t":"m"})");
  EXPECT_EQ(handled().size(), 3u);
}

TEST_F(WebRTCSessionInputTest, DropsInputWithoutAnInjector) {
  owner->handler.reset();
  start();
  hostChannel()->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(server().diagnostics(), ElementsAre("first-input-received 9B"));
}

TEST_F(WebRTCSessionInputTest, HearsNothingOnceClosed) {
  start();
  const auto channel = hostChannel();
  session->close();
  channel->viewerSends(R"({"t":"m"})");
  EXPECT_THAT(handled(), IsEmpty());
}

}  // namespace
}  // namespace tovalin
