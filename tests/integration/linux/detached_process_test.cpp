#include "platform/linux/detached_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>

#include "tests/integration/linux/stub_program.h"

namespace tovalin {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::string statusOf(int pid) {
  return test::readFile("/proc/" + std::to_string(pid) + "/status");
}

class DetachedProcessTest : public testing::Test {
 protected:
  std::string program() const { return directory_ / "program"; }
  bool launch(const std::string& argument = "argument") {
    return launchDetached({program(), argument});
  }
  // The process id of the program that has come up.
  int started() const { return std::stoi("0" + stub_.nextStart()); }

  test::TemporaryDirectory directory_;
  test::StubProgram stub_{directory_ / "program"};
};

TEST_F(DetachedProcessTest, ArgumentsArriveAsTheyAre) {
  EXPECT_TRUE(launch("$HOME 'two words' *"));
  EXPECT_THAT(stub_.nextStart(), EndsWith(" $HOME 'two words' *"));
}

TEST_F(DetachedProcessTest, LeavesNoChildBehind) {
  ASSERT_TRUE(launch());
  ASSERT_GT(started(), 0);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(DetachedProcessTest, RunsInASessionOfItsOwn) {
  ASSERT_TRUE(launch());
  const int pid = started();
  EXPECT_GT(getsid(pid), 0);
  EXPECT_NE(getsid(pid), getsid(0));
}

TEST_F(DetachedProcessTest, InheritsNoOpenFiles) {
  const int leaked = dup2(STDERR_FILENO, 200);
  ASSERT_TRUE(launch());
  const int pid = started();
  const auto files = std::filesystem::path("/proc") / std::to_string(pid) / "fd";
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(files / "200")));
  EXPECT_EQ(std::filesystem::read_symlink(files / "2"), "/dev/null");
  close(leaked);
}

TEST_F(DetachedProcessTest, InheritsNoIgnoredOrBlockedSignals) {
  const auto before = signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigset_t mask;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &mask);
  ASSERT_TRUE(launch());
  const std::string status = statusOf(started());
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  (void)signal(SIGPIPE, before);
  EXPECT_THAT(status, HasSubstr("\nSigIgn:\t0000000000000000\n"));
  EXPECT_THAT(status, HasSubstr("\nSigBlk:\t0000000000000000\n"));
}

TEST_F(DetachedProcessTest, ProgramsThatIgnoreTheirChildrenMayLaunchToo) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(launch());
  EXPECT_GT(started(), 0);
  (void)signal(SIGCHLD, before);
}

TEST_F(DetachedProcessTest, NothingIsLaunchedForAnEmptyOrMissingCommand) {
  EXPECT_FALSE(launchDetached({}));
  launchDetached({directory_ / "no such program"});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace tovalin
