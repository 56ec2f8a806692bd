#include "platform/linux/running_applications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr const char* kHost = "com.tovalin.host";

// Another process that has noted itself, until it is killed.
class OtherInstance {
 public:
  explicit OtherInstance(const std::filesystem::path& directory) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      fake::FakeSystemLog log;
      const auto running = makeRunningApplications(directory, log, [] {});
      if (write(writer.get(), "+", 1) != 1) _exit(1);
      for (;;) pause();
    }
    writer.reset();
    char ready = 0;
    EXPECT_EQ(read(reader.get(), &ready, 1), 1);
  }
  ~OtherInstance() { crash(); }
  OtherInstance(const OtherInstance&) = delete;
  OtherInstance& operator=(const OtherInstance&) = delete;

  int pid() const { return pid_; }

  // Ends it without a chance to remove its note.
  void crash() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  // Ends it, but leaves the body unburied.
  void becomeZombie() {
    kill(pid_, SIGKILL);
    siginfo_t info;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT), 0);
  }

 private:
  pid_t pid_ = -1;
};

class RunningApplicationsTest : public testing::Test {
 protected:
  std::unique_ptr<RunningApplications> start() {
    return makeRunningApplications(runtime_, log_, [this] { ++terminations_; });
  }
  std::filesystem::path note(int pid) const { return runtime_ / kHost / std::to_string(pid); }

  test::TemporaryDirectory directory_;
  std::filesystem::path runtime_ = directory_ / "runtime";
  fake::FakeSystemLog log_;
  int terminations_ = 0;
};

TEST_F(RunningApplicationsTest, AloneItSeesItself) {
  const auto running = start();
  EXPECT_EQ(running->ownProcessId(), getpid());
  EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid()));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RunningApplicationsTest, IsNotedFromConstructionToDestruction) {
  auto running = start();
  EXPECT_TRUE(std::filesystem::exists(note(getpid())));
  EXPECT_EQ(test::modeOf(runtime_), 0700);
  EXPECT_EQ(test::modeOf(runtime_ / kHost), 0700);
  running.reset();
  EXPECT_FALSE(std::filesystem::exists(note(getpid())));
}

TEST_F(RunningApplicationsTest, TwoInstancesSeeEachOther) {
  const OtherInstance other(runtime_);
  const OtherInstance third(runtime_);
  EXPECT_THAT(start()->processIds(kHost), UnorderedElementsAre(getpid(), other.pid(), third.pid()));
}

TEST_F(RunningApplicationsTest, AnInstanceThatCrashedIsGoneAndItsNoteIsRemoved) {
  OtherInstance other(runtime_);
  const auto running = start();
  const auto noteOfOther = note(other.pid());
  ASSERT_TRUE(std::filesystem::exists(noteOfOther));
  other.crash();
  EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid()));
  EXPECT_FALSE(std::filesystem::exists(noteOfOther));
}

TEST_F(RunningApplicationsTest, AZombieIsNoInstance) {
  OtherInstance other(runtime_);
  const auto running = start();
  other.becomeZombie();
  EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid()));
}

TEST_F(RunningApplicationsTest, ANumberGivenToAnotherProgramIsNoInstance) {
  const auto running = start();
  const int parent = getppid();
  for (const auto* content : {"1\n", "", "garbage", "99999999999999999999999999\n"}) {
    test::writeFile(note(parent), content);
    EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid())) << content;
    EXPECT_FALSE(std::filesystem::exists(note(parent))) << content;
  }
}

TEST_F(RunningApplicationsTest, OtherFilesInTheDirectoryAreLeftAlone) {
  const auto running = start();
  for (const auto* name : {"readme", "12x", "-5", "0", ".4711.abc", "99999999999999999999"}) {
    test::writeFile(runtime_ / kHost / name, "1\n");
    EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid())) << name;
    EXPECT_TRUE(std::filesystem::exists(runtime_ / kHost / name)) << name;
  }
}

TEST_F(RunningApplicationsTest, AnotherProgramIsLookedUpByItsOwnName) {
  const auto running = start();
  EXPECT_THAT(running->processIds("com.example.other"), IsEmpty());
  for (const auto* name : {"", ".", "..", "../runtime/com.tovalin.host", "/tmp"}) {
    EXPECT_THAT(running->processIds(name), IsEmpty()) << name;
  }
}

TEST_F(RunningApplicationsTest, ADirectoryThatOthersMayWriteToIsNotTrusted) {
  const OtherInstance other(runtime_);
  std::filesystem::permissions(runtime_ / kHost, std::filesystem::perms(0777));
  const auto running = start();
  EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid()));
  EXPECT_FALSE(std::filesystem::exists(note(getpid())));
  EXPECT_THAT(log_.lines(),
              ElementsAre("[Tovalin] cannot look for other instances: " +
                          (runtime_ / kHost).string() + " is not a directory of this user alone"));
}

TEST_F(RunningApplicationsTest, ALinkInPlaceOfTheDirectoryIsNotTrusted) {
  std::filesystem::create_directories(directory_ / "elsewhere");
  std::filesystem::create_directory_symlink(directory_ / "elsewhere", runtime_);
  EXPECT_THAT(start()->processIds(kHost), ElementsAre(getpid()));
  EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(RunningApplicationsTest, WithoutADirectoryItStillSeesItself) {
  test::writeFile(runtime_, "a file in its place");
  EXPECT_THAT(start()->processIds(kHost), ElementsAre(getpid()));
  EXPECT_THAT(log_.lines(), ElementsAre(StartsWith("[Tovalin] cannot look for other instances: ")));
}

TEST_F(RunningApplicationsTest, TerminateAsksTheRunLoopToEnd) {
  const auto running = start();
  EXPECT_EQ(terminations_, 0);
  running->terminate();
  EXPECT_EQ(terminations_, 1);
}

}  // namespace
}  // namespace tovalin
