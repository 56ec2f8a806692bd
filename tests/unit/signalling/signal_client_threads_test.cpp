// The signal client under real threads; what is looked for shows under ThreadSanitizer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <thread>

#include "signalling/messages.h"
#include "signalling/signal_client.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_web_socket.h"

namespace tovalin {
namespace {

constexpr int kSenders = 3;
constexpr int kMessagesEach = 300;

struct CountingDelegate : SignalClientDelegate {
  void signalReceived(const SignalMessage& message) override {
    EXPECT_EQ(std::this_thread::get_id(), mainThread);
    order.push_back(message.at("n").get<int>());
  }
  void signalDisconnected() override {
    EXPECT_EQ(std::this_thread::get_id(), mainThread);
    ++disconnects;
  }

  const std::thread::id mainThread = std::this_thread::get_id();
  std::vector<int> order;
  int disconnects = 0;
};

class SignalClientThreadsTest : public testing::Test {
 protected:
  SignalClientThreadsTest() { client->setDelegate(delegate); }

  // Threads that send through the client while the test goes on with its own thread.
  std::vector<std::jthread> startSenders() {
    std::vector<std::jthread> senders;
    for (int sender = 0; sender < kSenders; ++sender) {
      senders.emplace_back([this, sender] {
        started.arrive_and_wait();
        for (int n = 0; n < kMessagesEach; ++n) {
          client->send(diagnosticMessage(std::to_string(sender) + " " + std::to_string(n)));
        }
      });
    }
    return senders;
  }

  fake::FakeMainQueue queue;
  fake::FakeWebSockets sockets;
  std::latch started{kSenders + 1};
  std::shared_ptr<CountingDelegate> delegate = std::make_shared<CountingDelegate>();
  std::shared_ptr<SignalClient> client =
      SignalClient::create(queue, sockets, Url{"ws://x"}, registerMessage("id", "key", "name"));
};

TEST_F(SignalClientThreadsTest, SendsEveryMessageOfEveryThreadWhileReceivingOnAnother) {
  client->open();
  auto& socket = sockets.latest();
  {
    auto senders = startSenders();
    std::jthread server([&] {
      for (int n = 0; n < kMessagesEach; ++n) socket.serverSendsMessage({{"n", n}});
    });
    started.arrive_and_wait();
    while (delegate->order.size() < kMessagesEach) queue.run();
  }
  EXPECT_EQ(socket.diagnostics().size(), static_cast<size_t>(kSenders * kMessagesEach));
  EXPECT_TRUE(std::is_sorted(delegate->order.begin(), delegate->order.end()));
}

TEST_F(SignalClientThreadsTest, EveryConnectionBeginsWithTheOpeningMessageWhileOthersSend) {
  client->open();
  {
    auto senders = startSenders();
    started.arrive_and_wait();
    for (int outage = 0; outage < 50; ++outage) {
      std::jthread server([&] { sockets.latest().serverDrops(); });
      server.join();
      client->setReconnectDelay(1.0);
      queue.advance(15);
    }
  }
  ASSERT_EQ(sockets.connections(), 51u);
  EXPECT_EQ(delegate->disconnects, 50);
  for (size_t n = 0; n < sockets.connections(); ++n) {
    EXPECT_EQ(messageType(sockets.connection(n).sent().front()), "register") << n;
    EXPECT_EQ(sockets.connection(n).sentOfType("register").size(), 1u) << n;
  }
}

TEST_F(SignalClientThreadsTest, ClosesWhileOthersSendAndTheServerTalks) {
  client->open();
  auto& socket = sockets.latest();
  {
    auto senders = startSenders();
    std::jthread server([&] {
      for (int n = 0; n < kMessagesEach; ++n) socket.serverSendsMessage({{"n", n}});
    });
    started.arrive_and_wait();
    while (delegate->order.empty()) queue.run();
    client->close();
  }
  socket.deliver();  // a frame asked for in the moment of closing
  queue.advance(60);
  // None when the loop was between two requests and found the socket gone.
  EXPECT_LE(delegate->disconnects, 1);
  EXPECT_EQ(sockets.connections(), 1u);
  EXPECT_EQ(socket.cancelCode(), 1000);
}

TEST_F(SignalClientThreadsTest, OwnerResetsTheDelayWhileTheSocketFails) {
  client->open();
  for (int outage = 0; outage < 100; ++outage) {
    client->setReconnectDelay(8.0);
    {
      std::jthread server([&] { sockets.latest().serverDrops(); });
      client->setReconnectDelay(1.0);
    }
    // Reset before the failure or after it; never undone by it.
    EXPECT_THAT(client->reconnectDelay(), testing::AnyOf(1.0, 2.0));
    queue.advance(20);
  }
}

}  // namespace
}  // namespace tovalin
