#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/integration/qt/web_socket_client.h"

namespace tovalin::test {
namespace {

// Open sockets of this process.
int openSockets() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) {
    struct stat status;
    if (fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) ++count;
  }
  return count;
}

// Waits, within the bound, for what no event tells.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

TEST_F(WebSocketTest, CancelSaysItsCodeWithoutAReason) {
  for (const int code : {1000, 4001}) {
    Inbox<Frame> frames;
    auto& server = serveOpened([frames](Peer& peer) {
      peer.sendText("open");
      while (const auto frame = peer.readFrame()) frames.put(*frame);
    });
    auto client = connect(server);
    ASSERT_EQ(client.receiveText(), "open");
    client.ask();
    client.send("last words");
    client.cancel(code);
    EXPECT_FALSE(client.outcome());
    EXPECT_TRUE(client.isDead());

    const auto words = frames.take();
    ASSERT_TRUE(words);
    EXPECT_EQ(words->payload, "last words");
    const auto closing = frames.take();
    ASSERT_TRUE(closing);
    EXPECT_EQ(closing->opcode, kClose);
    EXPECT_EQ(closing->payload, closePayload(code));
  }
}

TEST_F(WebSocketTest, CancelForgetsTheFramesThatWait) {
  Inbox<bool> sent;
  auto& server = serveOpened([sent](Peer& peer) {
    peer.sendText("asked");
    peer.sendText("waits");
    peer.write(frameBytes(kPing, ""));
    peer.readFrame();
    sent.put(true);
    peer.seesEnd();
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "asked");
  ASSERT_TRUE(sent.take());
  client.cancel();
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTest, CancelDuringTheHandshakeEndsTheConnection) {
  Inbox<bool> requested;
  Inbox<bool> ended;
  auto& server = serve([requested, ended](Peer& peer) {
    peer.readRequest();
    requested.put(true);
    ended.put(peer.seesEnd());
  });
  auto client = connect(server);
  client.ask();
  ASSERT_TRUE(requested.take());
  client.cancel();
  EXPECT_FALSE(client.outcome());
  EXPECT_EQ(ended.take(), true);
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTest, CancelBeforeTheStartLeavesNothingToStart) {
  auto& server = serve([](Peer&) {});
  auto client = make(server.url());
  client.ask();
  client.cancel();
  client.resume();
  EXPECT_FALSE(client.outcome());
  EXPECT_TRUE(client.isDead());
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(WebSocketTest, CancelOfADeadSocketDoesNothing) {
  auto& server = serveOpened([](Peer&) {});
  auto client = connect(server);
  EXPECT_TRUE(client.isDead());
  client.cancel();
  client.cancel(4001);
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTest, CancelDoesNotWaitForADeadPeer) {
  sockets_ = makeQtWebSockets({.handshake = 60, .closing = 0.2});
  const int socketsBefore = openSockets();
  Inbox<bool> mayEnd;
  auto& server = serveOpened([mayEnd](Peer& peer) {
    peer.sendText("open");
    // From here on it reads nothing, so that the client's words pile up.
    peer.socket().setReadBufferSize(1);
    mayEnd.take();
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "open");
  const int socketsOpen = openSockets();
  for (int i = 0; i < 8; ++i) client.send(std::string(4'000'000, 'x'));
  client.cancel();
  EXPECT_TRUE(client.isDead());
  EXPECT_TRUE(eventually([&] { return openSockets() < socketsOpen; }));
  mayEnd.put(true);
  EXPECT_LE(socketsBefore, socketsOpen);
}

TEST_F(WebSocketTest, ADroppedTaskSaysThatItGoesAway) {
  Inbox<Frame> frames;
  auto& server = serveOpened([frames](Peer& peer) {
    peer.sendText("open");
    while (const auto frame = peer.readFrame()) frames.put(*frame);
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "open");
  client.ask();
  client.drop();
  EXPECT_FALSE(client.outcome());
  const auto closing = frames.take();
  ASSERT_TRUE(closing);
  EXPECT_EQ(closing->opcode, kClose);
  EXPECT_EQ(closing->payload, closePayload(1001));
}

TEST_F(WebSocketTest, ATaskDroppedAfterCancelKeepsTheCode) {
  Inbox<Frame> frames;
  auto& server = serveOpened([frames](Peer& peer) {
    peer.sendText("open");
    while (const auto frame = peer.readFrame()) frames.put(*frame);
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "open");
  client.cancel();
  client.drop();
  const auto closing = frames.take();
  ASSERT_TRUE(closing);
  EXPECT_EQ(closing->payload, closePayload(1000));
}

TEST_F(WebSocketTest, ATaskMayBeDroppedDuringTheHandshake) {
  Inbox<bool> requested;
  Inbox<bool> ended;
  auto& server = serve([requested, ended](Peer& peer) {
    peer.readRequest();
    requested.put(true);
    ended.put(peer.seesEnd());
  });
  auto client = connect(server);
  client.ask();
  client.send("never arrives");
  ASSERT_TRUE(requested.take());
  client.drop();
  EXPECT_FALSE(client.outcome());
  EXPECT_EQ(ended.take(), true);
}

TEST_F(WebSocketTest, ATaskMayBeDroppedWithoutEverStarting) {
  auto client = make({"ws://127.0.0.1:1/"});
  client.ask();
  client.drop();
  EXPECT_FALSE(client.outcome());
}

TEST_F(WebSocketTest, ATaskMayBeDroppedWithinItsOwnCompletion) {
  auto& server = serveOpened([](Peer& peer) {
    peer.sendText("open");
    peer.seesEnd();
  });
  auto task = sockets_->makeTask(server.url());
  Inbox<bool> dropped;
  task->resume();
  auto* raw = task.get();
  raw->receive([dropped, task = std::move(task)](std::optional<WebSocketFrame>) mutable {
    task.reset();
    dropped.put(true);
  });
  EXPECT_EQ(dropped.take(), true);
}

TEST_F(WebSocketTest, TasksMayBeDroppedOnAnyThreadAtAnyTime) {
  auto& server = serveOpened([](Peer& peer) { peer.echo(); });
  const int socketsBefore = openSockets();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, &server, thread] {
      for (int i = 0; i < 15; ++i) {
        auto client = connect(server);
        client.ask();
        client.send("hello");
        if (i % 3 == thread % 3) client.outcome();
        if (i % 2 == 0) client.cancel();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(eventually([&] { return openSockets() <= socketsBefore; }));
}

TEST_F(WebSocketTest, WhatIsPendingAtTheEndIsCompleted) {
  auto& server = serveOpened([](Peer& peer) {
    peer.sendText("open");
    while (peer.readFrame()) {
    }
  });
  auto open = connect(server);
  ASSERT_EQ(open.receiveText(), "open");
  open.ask();
  Inbox<bool> pongs;
  open.task().sendPing([pongs](bool answered) { pongs.put(answered); });
  auto waiting = connect(server);
  waiting.ask();

  sockets_.reset();
  EXPECT_FALSE(open.outcome());
  EXPECT_FALSE(waiting.outcome());
  EXPECT_EQ(pongs.take(), false);

  open.resume();
  open.send("nowhere");
  open.cancel();
  open.ask();
  EXPECT_EQ(open.receipts().size(), 0u);
}

}  // namespace
}  // namespace tovalin::test
