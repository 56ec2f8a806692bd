// A session under the threads it lives among; what is looked for shows under ThreadSanitizer.

#include <functional>
#include <latch>
#include <thread>

#include "tests/unit/peer/session_fixture.h"

namespace tovalin {
namespace {

class WebRTCSessionThreadsTest : public SessionTest {
 protected:
  // Runs `work` 500 times on a thread of its own, beginning together with the test's.
  std::jthread repeatedly(std::function<void()> work) {
    return std::jthread([this, work = std::move(work)] {
      together.arrive_and_wait();
      for (int n = 0; n < 500; ++n) work();
    });
  }

  std::latch together{3};  // two threads and the test
};

TEST_F(WebRTCSessionThreadsTest, ClosesWhilePicturesInputAndCandidatesArrive) {
  start();
  const auto channel = hostChannel();
  {
    auto capture = repeatedly([this] { session->push(std::make_shared<StillPicture>()); });
    auto network = repeatedly([&] {
      connection().gathers({"candidate:1", 0, "0"});
      connection().iceBecomes(IceConnectionState::connected);
      connection().viewerOpensChannel("viewer");
      channel->viewerSends(R"({"t":"m"})");
    });
    together.arrive_and_wait();
    session->close();
  }
  queue.run();
  const size_t pictures = library.latestSource().frames().size();
  session->push(std::make_shared<StillPicture>());
  EXPECT_EQ(library.latestSource().frames().size(), pictures);
  EXPECT_TRUE(connection().isClosed());
  EXPECT_THAT(connection().dataChannels(), testing::SizeIs(testing::Le(1u)))
      << "only the one that the test holds itself";
}

TEST_F(WebRTCSessionThreadsTest, ClosesWhileTheOfferIsMade) {
  for (int n = 0; n < 200; ++n) {
    makeSession();
    start();
    {
      std::jthread network([this] { connection().producesOffer(); });
      session->close();
    }
    EXPECT_TRUE(connection().isClosed());
  }
  EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(WebRTCSessionThreadsTest, FirstInputIsReportedOnceByTwoSessionsAtATime) {
  start();
  const auto first = session;
  const auto channel = hostChannel();
  makeSession();
  start();
  {
    auto one = repeatedly([&] { channel->viewerSends("7"); });
    auto other = repeatedly([this] { hostChannel()->viewerSends("7"); });
    together.arrive_and_wait();
  }
  EXPECT_EQ(server().diagnostics().size(), 1u);
}

}  // namespace
}  // namespace tovalin
