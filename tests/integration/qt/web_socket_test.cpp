#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/integration/qt/web_socket_client.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line.substr(0, line.find('\r')));
  }
  return lines;
}

TEST_F(WebSocketTest, CarriesTextBothWays) {
  auto& server = serveOpened([](Peer& peer) { peer.echo(); });
  auto client = connect(server);
  for (const std::string text : {"{\"type\":\"register\"}", "", "Büro 🖥️", "x"}) {
    client.send(text);
    EXPECT_EQ(client.receiveText(), text);
  }
}

TEST_F(WebSocketTest, TheHandshakeHasNoExtraHeader) {
  Inbox<std::string> requests;
  auto& server = serve([requests](Peer& peer) {
    const auto request = peer.readRequest();
    requests.put(request);
    peer.answerUpgrade(request);
    peer.echo();
  });
  auto client = connect({server.url().absoluteString + "?a=b%20c&d"});
  client.send("open");
  EXPECT_EQ(client.receiveText(), "open");

  auto lines = linesOf(requests.take().value_or(""));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "GET /signal?a=b%20c&d HTTP/1.1");
  for (auto& line : lines) line = line.substr(0, line.find(':'));
  lines.erase(lines.begin());
  std::sort(lines.begin(), lines.end());
  EXPECT_THAT(lines, ElementsAre("", "Connection", "Host", "Sec-WebSocket-Key",
                                 "Sec-WebSocket-Version", "Upgrade"));
}

TEST_F(WebSocketTest, WhatIsSentBeforeTheSocketIsOpenComesFirstAndInOrder) {
  Inbox<bool> mayOpen;
  Inbox<std::string> texts;
  auto& server = serve([mayOpen, texts](Peer& peer) {
    const auto request = peer.readRequest();
    mayOpen.take();
    peer.answerUpgrade(request);
    while (const auto frame = peer.readFrame()) texts.put(frame->payload);
  });
  auto client = make(server.url());
  for (int i = 0; i < 50; ++i) client.send(std::to_string(i));
  client.resume();
  for (int i = 50; i < 100; ++i) client.send(std::to_string(i));
  mayOpen.put(true);
  for (int i = 100; i < 150; ++i) client.send(std::to_string(i));
  for (int i = 0; i < 150; ++i) EXPECT_EQ(texts.take(), std::to_string(i));
}

TEST_F(WebSocketTest, SendsMaskedTextFrames) {
  Inbox<Frame> frames;
  auto& server = serveOpened([frames](Peer& peer) {
    while (const auto frame = peer.readFrame()) frames.put(*frame);
  });
  auto client = connect(server);
  client.send("text");
  const auto frame = frames.take();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->opcode, kText);
  EXPECT_TRUE(frame->masked);
  EXPECT_TRUE(frame->final);
}

TEST_F(WebSocketTest, TellsTextFromBinary) {
  auto& server = serveOpened([](Peer& peer) {
    peer.write(frameBytes(kBinary, std::string("{}\0\xff", 4)));
    peer.sendText("{}");
    peer.seesEnd();
  });
  auto client = connect(server);
  const auto binary = client.receive();
  ASSERT_TRUE(binary);
  EXPECT_EQ(binary->kind, WebSocketFrame::Kind::binary);
  EXPECT_EQ(binary->payload, std::string("{}\0\xff", 4));
  EXPECT_EQ(client.receiveText(), "{}");
}

TEST_F(WebSocketTest, AMessageInPiecesIsOneFrame) {
  auto& server = serveOpened([](Peer& peer) {
    peer.write(frameBytes(kText, "Bü", false));
    peer.write(frameBytes(kPing, "between"));
    peer.write(frameBytes(kContinuation, "", false));
    peer.write(frameBytes(kContinuation, "ro"));
    for (const char byte : frameBytes(kText, "byte by byte")) peer.write(std::string(1, byte));
    peer.seesEnd();
  });
  auto client = connect(server);
  EXPECT_EQ(client.receiveText(), "Büro");
  EXPECT_EQ(client.receiveText(), "byte by byte");
}

TEST_F(WebSocketTest, LargeMessagesPass) {
  auto& server = serveOpened([](Peer& peer) { peer.echo(); });
  auto client = connect(server);
  for (const size_t size : {125u, 126u, 65'535u, 65'536u, 1'000'000u, 15'000'000u}) {
    const std::string text(size, 'x');
    client.send(text);
    EXPECT_TRUE(client.receiveText() == text) << size;
  }
}

TEST_F(WebSocketTest, AMessageBeyondTheLimitEndsTheSocket) {
  for (const bool inPieces : {false, true}) {
    auto& server = serveOpened([inPieces](Peer& peer) {
      const std::string part(inPieces ? 1'000'000 : 17'000'000, 'x');
      for (int i = 0; i < (inPieces ? 17 : 1); ++i) {
        peer.write(frameBytes(i == 0 ? kText : kContinuation, part, !inPieces));
      }
      peer.seesEnd();
    });
    auto client = connect(server);
    EXPECT_TRUE(client.isDead());
  }
}

TEST_F(WebSocketTest, FramesThatComeUnaskedWaitInOrder) {
  Inbox<bool> sent;
  auto& server = serveOpened([sent](Peer& peer) {
    for (int i = 0; i < 100; ++i) peer.sendText(std::to_string(i));
    peer.write(frameBytes(kClose, closePayload(1000)));
    peer.seesEnd();
    sent.put(true);
  });
  auto client = connect(server);
  ASSERT_TRUE(sent.take());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(client.receiveText(), std::to_string(i));
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTest, APeerThatSendsOnWhileNobodyReceivesIsCutOff) {
  Inbox<bool> ended;
  auto& server = serveOpened([ended](Peer& peer) {
    const std::string part(8'000'000, 'x');
    for (int i = 0; i < 6; ++i) peer.sendText(part);
    ended.put(peer.seesEnd());
  });
  auto client = connect(server);
  EXPECT_EQ(ended.take(), true);
  while (client.receive()) {
  }
  EXPECT_TRUE(client.isDead());
}

TEST_F(WebSocketTest, CompletionsComeOneAtATimeOnTheAdaptersThread) {
  auto& server = serveOpened([](Peer& peer) {
    for (int i = 0; i < 50; ++i) peer.sendText("x");
    peer.seesEnd();
  });
  auto client = connect(server);
  struct Seen {
    bool nested;
    std::thread::id thread;
  };
  Inbox<Seen> seen;
  std::atomic<bool> inside = false;
  std::function<void(int)> ask = [&](int left) {
    client.task().receive([&, left](std::optional<WebSocketFrame>) {
      const bool nested = inside.exchange(true);
      if (left > 1) ask(left - 1);
      inside = false;
      seen.put({nested, std::this_thread::get_id()});
    });
  };
  ask(50);
  const auto first = seen.take();
  ASSERT_TRUE(first);
  EXPECT_NE(first->thread, std::this_thread::get_id());
  for (int i = 1; i < 50; ++i) {
    const auto next = seen.take();
    ASSERT_TRUE(next);
    EXPECT_FALSE(next->nested);
    EXPECT_EQ(next->thread, first->thread);
  }
}

TEST_F(WebSocketTest, TheSocketsHaveANamedThread) {
  auto client = connect({"ws://127.0.0.1:1/"});
  ASSERT_TRUE(client.isDead());
  std::vector<std::string> names;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    names.push_back(name);
  }
  EXPECT_THAT(names, testing::Contains("tovalin-websock"));
}

TEST_F(WebSocketTest, PingsAreAnsweredByThePeersPong) {
  auto& server = serveOpened([](Peer& peer) {
    while (const auto frame = peer.readFrame()) {
      if (frame->opcode == kText) peer.sendText(frame->payload);
      if (frame->opcode == kPing) peer.write(frameBytes(kPong, frame->payload));
    }
  });
  auto client = connect(server);
  client.send("open");
  ASSERT_EQ(client.receiveText(), "open");
  EXPECT_TRUE(client.ping());
  EXPECT_TRUE(client.ping());
}

TEST_F(WebSocketTest, APongForTheLatestPingAnswersTheEarlierOnes) {
  auto& server = serveOpened([](Peer& peer) {
    peer.sendText("open");
    peer.write(frameBytes(kPong, "unasked"));
    peer.write(frameBytes(kPong, ""));
    std::string last;
    for (int i = 0; i < 3; ++i) {
      const auto frame = peer.readFrame();
      if (frame && frame->opcode == kPing) last = frame->payload;
    }
    peer.write(frameBytes(kPong, last));
    peer.seesEnd();
  });
  auto client = connect(server);
  ASSERT_EQ(client.receiveText(), "open");
  Inbox<int> answers;
  for (int i = 0; i < 3; ++i) {
    client.task().sendPing([answers, i](bool answered) { answers.put(answered ? i : -1); });
  }
  for (int i = 0; i < 3; ++i) EXPECT_EQ(answers.take(), i);
}

TEST_F(WebSocketTest, APingFailsWhereNoPongCanCome) {
  Inbox<bool> mayEnd;
  auto& server = serve([mayEnd](Peer& peer) {
    const auto request = peer.readRequest();
    mayEnd.take();
    peer.answerUpgrade(request);
    peer.sendText("open");
    peer.readFrame();
  });
  auto client = make(server.url());
  EXPECT_FALSE(client.ping());
  client.resume();
  EXPECT_FALSE(client.ping());
  mayEnd.put(true);
  ASSERT_EQ(client.receiveText(), "open");
  EXPECT_FALSE(client.ping());
  EXPECT_TRUE(client.isDead());
  EXPECT_FALSE(client.ping());
}

TEST_F(WebSocketTest, ThePeersPingsAreAnswered) {
  Inbox<Frame> pongs;
  auto& server = serveOpened([pongs](Peer& peer) {
    for (const std::string payload : {"", "are you there?"}) {
      peer.write(frameBytes(kPing, payload));
      if (const auto frame = peer.readFrame()) pongs.put(*frame);
    }
  });
  auto client = connect(server);
  for (const std::string payload : {"", "are you there?"}) {
    const auto pong = pongs.take();
    ASSERT_TRUE(pong);
    EXPECT_EQ(pong->opcode, kPong);
    EXPECT_EQ(pong->payload, payload);
  }
}

TEST_F(WebSocketTest, FourThreadsSendingAtOnceLoseNothing) {
  constexpr int kEach = 200;
  Inbox<std::string> texts;
  auto& server = serveOpened([texts](Peer& peer) {
    while (const auto frame = peer.readFrame()) texts.put(frame->payload);
  });
  auto client = connect(server);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&client, thread] {
      for (int i = 0; i < kEach; ++i) {
        client.send(std::to_string(thread) + ":" + std::to_string(i));
      }
    });
  }
  std::vector<int> next(4);
  for (int i = 0; i < 4 * kEach; ++i) {
    const auto text = texts.take();
    ASSERT_TRUE(text);
    auto& expected = next[static_cast<size_t>(text->front() - '0')];
    EXPECT_EQ(text->substr(2), std::to_string(expected++));
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace tovalin::test
