#include "signalling/signal_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "signalling/messages.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_web_socket.h"

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

struct RecordingDelegate : SignalClientDelegate {
  void signalReceived(const SignalMessage& message) override { received.push_back(message); }
  void signalDisconnected() override { ++disconnects; }

  std::vector<SignalMessage> received;
  int disconnects = 0;
};

class SignalClientTest : public testing::Test {
 protected:
  SignalClientTest() { client->setDelegate(delegate); }

  void open() {
    client->open();
    queue.run();
  }
  fake::FakeWebSocketTask& socket() { return sockets.latest(); }
  void serverSends(const std::string& text) {
    socket().serverSends(text);
    queue.run();
  }
  void serverDrops() {
    socket().serverDrops();
    queue.run();
  }
  // Lets time pass until the next connection is made; the seconds that took, to the tenth.
  double secondsToReconnect() {
    const size_t before = sockets.connections();
    for (int tenths = 0; tenths <= 1000; ++tenths) {
      if (sockets.connections() > before) return tenths / 10.0;
      queue.advance(0.1);
    }
    return -1;
  }
  // Long enough for every reconnect that could be due.
  void waitLong() { queue.advance(120); }

  fake::FakeMainQueue queue;
  fake::FakeWebSockets sockets;
  const json openingMessage = registerMessage("id", "key", "Ada's computer");
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<SignalClient> client =
      SignalClient::create(queue, sockets, Url{"wss://signal.example/signal"}, openingMessage);
};

TEST_F(SignalClientTest, ConnectsNothingBeforeItIsOpened) {
  waitLong();
  EXPECT_EQ(sockets.connections(), 0u);
  EXPECT_TRUE(client->shouldReconnect());
  EXPECT_EQ(client->reconnectDelay(), 1.0);
}

TEST_F(SignalClientTest, OpensTheGivenUrlUnchangedAndSendsTheOpeningMessageFirst) {
  client->open();
  client->send(byeMessage());
  EXPECT_EQ(socket().url, Url{"wss://signal.example/signal"});
  EXPECT_TRUE(socket().resumed());
  EXPECT_TRUE(socket().isReceiving());
  EXPECT_THAT(socket().sent(), ElementsAre(openingMessage, byeMessage()));
}

TEST_F(SignalClientTest, SendsCompactJson) {
  open();
  client->send(json{{"type", "dbg"}, {"m", "ice-state 2"}});
  EXPECT_THAT(socket().sentTexts().back(), R"({"m":"ice-state 2","type":"dbg"})");
}

TEST_F(SignalClientTest, DropsAMessageThatCannotBeSerialised) {
  open();
  client->send(diagnosticMessage("broken \xFF text"));
  client->send(byeMessage());
  EXPECT_THAT(socket().sent(), ElementsAre(openingMessage, byeMessage()));
}

TEST_F(SignalClientTest, ConnectsWithoutAnOpeningMessageThatCannotBeSerialised) {
  client = SignalClient::create(queue, sockets, Url{"ws://x"}, registerMessage("id", "k", "\xFF"));
  open();
  EXPECT_THAT(socket().sentTexts(), IsEmpty());
  EXPECT_TRUE(socket().isReceiving());
}

TEST_F(SignalClientTest, DropsMessagesSentBeforeOpening) {
  client->send(byeMessage());
  open();
  EXPECT_THAT(socket().sent(), ElementsAre(openingMessage));
}

TEST_F(SignalClientTest, DeliversObjectsInOrderOnTheMainQueue) {
  open();
  socket().serverSends(R"({"type":"registered"})");
  socket().serverSends(R"({"type":"peer-joined","more":[1,2]})");
  EXPECT_THAT(delegate->received, IsEmpty());
  queue.run();
  EXPECT_THAT(delegate->received,
              ElementsAre(json::parse(R"({"type":"registered"})"),
                          json::parse(R"({"type":"peer-joined","more":[1,2]})")));
}

TEST_F(SignalClientTest, DropsFramesThatAreNoObjectAndDeliversTheNext) {
  open();
  for (const char* text : {"[{\"type\":\"registered\"}]", "not JSON at all", "", "7", "null",
                           "{\"type\":", "{\"s\":\"\xFF\"}"}) {
    serverSends(text);
  }
  serverSends(R"({"type":"registered"})");
  EXPECT_THAT(delegate->received, ElementsAre(json{{"type", "registered"}}));
  EXPECT_EQ(delegate->disconnects, 0);
  EXPECT_EQ(sockets.connections(), 1u);
}

TEST_F(SignalClientTest, DeliversObjectsWithoutLookingAtTheirType) {
  open();
  serverSends("{}");
  serverSends(R"({"type":7})");
  EXPECT_EQ(delegate->received.size(), 2u);
}

TEST_F(SignalClientTest, IgnoresABinaryFrameThatHoldsValidJsonAndDeliversTheNext) {
  open();
  socket().serverSendsBinary(R"({"type":"registered"})");
  serverSends(R"({"type":"peer-joined"})");
  EXPECT_THAT(delegate->received, ElementsAre(json{{"type", "peer-joined"}}));
}

TEST_F(SignalClientTest, PingsAtOnceAndThenEveryEightSeconds) {
  client->open();
  queue.run();
  EXPECT_EQ(socket().pings(), 1);
  queue.advance(7.9);
  EXPECT_EQ(socket().pings(), 1);
  queue.advance(0.1);
  EXPECT_EQ(socket().pings(), 2);
  queue.advance(80);
  EXPECT_EQ(socket().pings(), 12);
}

TEST_F(SignalClientTest, IgnoresPongsAndTheirFailure) {
  open();
  socket().answerPings(true);
  queue.advance(8);
  socket().answerPings(false);
  queue.advance(8);
  EXPECT_EQ(socket().pings(), 3);
  EXPECT_EQ(delegate->disconnects, 0);
  EXPECT_EQ(sockets.connections(), 1u);
}

TEST_F(SignalClientTest, ReconnectsAfterOneTwoFourEightFifteenSecondsWithTheOpeningMessage) {
  open();
  std::vector<double> waits;
  for (int failure = 1; failure <= 7; ++failure) {
    EXPECT_THAT(socket().sent(), ElementsAre(openingMessage));
    serverDrops();
    EXPECT_EQ(delegate->disconnects, failure);
    waits.push_back(secondsToReconnect());
  }
  EXPECT_THAT(waits, ElementsAre(1, 2, 4, 8, 15, 15, 15));
  EXPECT_EQ(socket().url, Url{"wss://signal.example/signal"});
}

TEST_F(SignalClientTest, NeitherAnOpenSocketNorItsMessagesResetTheWait) {
  open();
  serverDrops();
  EXPECT_EQ(secondsToReconnect(), 1);
  serverSends(R"({"type":"registered"})");
  serverDrops();
  EXPECT_EQ(secondsToReconnect(), 2);
}

TEST_F(SignalClientTest, WaitsOneSecondAgainOnceItsOwnerHasResetTheDelay) {
  open();
  for (int failure = 0; failure < 4; ++failure) {
    serverDrops();
    secondsToReconnect();
  }
  EXPECT_EQ(client->reconnectDelay(), 15);
  client->setReconnectDelay(1.0);
  serverDrops();
  EXPECT_EQ(secondsToReconnect(), 1);
  EXPECT_EQ(client->reconnectDelay(), 2);
}

TEST_F(SignalClientTest, ReceivesOnTheNewSocketAfterReconnecting) {
  open();
  serverDrops();
  secondsToReconnect();
  serverSends(R"({"type":"registered"})");
  EXPECT_THAT(delegate->received, ElementsAre(json{{"type", "registered"}}));
}

TEST_F(SignalClientTest, SendsNothingOnTheNewSocketThatWasSentDuringTheWait) {
  open();
  serverDrops();
  client->send(byeMessage());
  secondsToReconnect();
  EXPECT_THAT(socket().sent(), ElementsAre(openingMessage));
}

TEST_F(SignalClientTest, KeepsPingingTheDeadSocketUntilTheNextOneTakesOverWithItsOwnTimer) {
  open();
  client->setReconnectDelay(10);
  serverDrops();
  queue.advance(8);
  EXPECT_EQ(sockets.connection(0).pings(), 2);
  queue.advance(2);
  ASSERT_EQ(sockets.connections(), 2u);
  EXPECT_EQ(socket().pings(), 1);
  EXPECT_EQ(queue.liveTimers(), 1);
  queue.advance(8);
  EXPECT_EQ(sockets.connection(0).pings(), 2);
  EXPECT_EQ(socket().pings(), 2);
}

TEST_F(SignalClientTest, TellsTheDisconnectOnTheMainQueueEvenWhenItMayNotReconnect) {
  open();
  client->setShouldReconnect(false);
  socket().serverDrops();
  EXPECT_EQ(delegate->disconnects, 0);
  waitLong();
  EXPECT_EQ(delegate->disconnects, 1);
  EXPECT_EQ(sockets.connections(), 1u);
  EXPECT_EQ(client->reconnectDelay(), 1.0);
}

TEST_F(SignalClientTest, ClosesWithCode1000AndStopsPinging) {
  open();
  client->close();
  EXPECT_EQ(socket().cancelCode(), 1000);
  EXPECT_FALSE(client->shouldReconnect());
  EXPECT_EQ(queue.liveTimers(), 0);
  waitLong();
  EXPECT_EQ(socket().pings(), 1);
}

TEST_F(SignalClientTest, ClosingKeepsTheReconnectDelay) {
  open();
  serverDrops();
  client->close();
  EXPECT_EQ(client->reconnectDelay(), 2.0);
}

TEST_F(SignalClientTest, TellsTheDisconnectOnceAfterClosingAndDoesNotReconnect) {
  open();
  client->close();
  EXPECT_EQ(delegate->disconnects, 0);
  waitLong();
  EXPECT_EQ(delegate->disconnects, 1);
  EXPECT_EQ(sockets.connections(), 1u);
}

TEST_F(SignalClientTest, SendsNothingOnceClosed) {
  open();
  client->close();
  client->send(byeMessage());
  EXPECT_THAT(socket().sent(), ElementsAre(openingMessage));
}

TEST_F(SignalClientTest, DoesNotReconnectWhenClosedDuringTheWait) {
  open();
  serverDrops();
  client->close();
  waitLong();
  EXPECT_EQ(sockets.connections(), 1u);
  EXPECT_EQ(delegate->disconnects, 1);
}

TEST_F(SignalClientTest, StartsNoTimerWhenClosedBeforeTheMainQueueRan) {
  client->open();
  client->close();
  waitLong();
  EXPECT_EQ(socket().pings(), 0);
  EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(SignalClientTest, AsksForNoFurtherFrameOnceClosed) {
  open();
  client->close();
  EXPECT_FALSE(socket().isReceiving());
}

TEST_F(SignalClientTest, CanBeClosedTwiceAndBeforeOpening) {
  client->close();
  client->close();
  waitLong();
  EXPECT_EQ(sockets.connections(), 0u);
  EXPECT_EQ(delegate->disconnects, 0);
}

TEST_F(SignalClientTest, DoesNothingOnceReleased) {
  open();
  auto& first = socket();
  client.reset();
  EXPECT_EQ(queue.liveTimers(), 0);
  first.serverSends(R"({"type":"registered"})");
  first.serverDrops();
  waitLong();
  EXPECT_THAT(delegate->received, IsEmpty());
  EXPECT_EQ(delegate->disconnects, 0);
  EXPECT_EQ(first.pings(), 1);
  EXPECT_EQ(sockets.connections(), 1u);
}

TEST_F(SignalClientTest, DoesNotReconnectWhenReleasedDuringTheWait) {
  open();
  serverDrops();
  client.reset();
  waitLong();
  EXPECT_EQ(sockets.connections(), 1u);
}

TEST_F(SignalClientTest, DropsWhatIsPostedWhenReleasedMeanwhile) {
  open();
  socket().serverSends(R"({"type":"registered"})");
  client.reset();
  queue.run();
  EXPECT_THAT(delegate->received, IsEmpty());
}

TEST_F(SignalClientTest, WorksOnWithoutADelegate) {
  open();
  delegate.reset();
  serverSends(R"({"type":"registered"})");
  serverDrops();
  EXPECT_EQ(secondsToReconnect(), 1);
}

}  // namespace
}  // namespace tovalin
