#include "platform/qt/qt_application.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "tests/integration/qt/application_test.h"

namespace tovalin::test {
namespace {

using QtApplicationTest = ApplicationTest;

void* handlerOf(int number) {
  struct sigaction action;
  sigaction(number, nullptr, &action);
  return reinterpret_cast<void*>(action.sa_handler);
}

TEST_F(QtApplicationTest, QuitEndsTheLoopAndLetsItRunAgain) {
  for (int i = 0; i < 3; ++i) {
    queue_->post([this] { application_.quit(); });
    run();
  }
}

TEST_F(QtApplicationTest, QuitBeforeTheLoopRunsEndsItAfterWhatWasPosted) {
  bool ran = false;
  queue_->post([&] { ran = true; });
  application_.quit();
  run();
  EXPECT_TRUE(ran);
}

TEST_F(QtApplicationTest, QuitMayBeAskedForOnAnyThread) {
  std::thread quitter([this] { application_.quit(); });
  run();
  quitter.join();
}

TEST_F(QtApplicationTest, SignalsThatEndProgramsEndTheLoop) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    const pid_t child = fork();
    if (child == 0) {
      // The loop of the parent's application is the child's as well.
      queue_->post([number] { raise(number); });
      _exit(40 + application_.run());
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << number;
    EXPECT_EQ(WEXITSTATUS(status), 40) << number;
  }
}

TEST_F(QtApplicationTest, ASecondSignalKillsALoopThatHangs) {
  const pid_t child = fork();
  if (child == 0) {
    raise(SIGTERM);
    raise(SIGTERM);
    _exit(40);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST_F(QtApplicationTest, WritingToAClosedPipeIsNoDeath) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  EXPECT_EQ(write(ends[1], "x", 1), -1);
  EXPECT_EQ(errno, EPIPE);
  close(ends[1]);
}

TEST(QtApplicationSignalsTest, AnIgnoredHangUpStaysIgnoredAndTheRestIsGivenBack) {
  int count = 1;
  char name[] = "test";
  char* arguments[] = {name, nullptr};
  const auto before = signal(SIGHUP, SIG_IGN);
  void* const termBefore = handlerOf(SIGTERM);
  {
    const QtApplication application(count, arguments);
    EXPECT_EQ(handlerOf(SIGHUP), reinterpret_cast<void*>(SIG_IGN));
    EXPECT_NE(handlerOf(SIGTERM), termBefore);
  }
  EXPECT_EQ(handlerOf(SIGHUP), reinterpret_cast<void*>(SIG_IGN));
  EXPECT_EQ(handlerOf(SIGTERM), termBefore);
  signal(SIGHUP, before);
}

}  // namespace
}  // namespace tovalin::test
