#include "platform/linux/running_applications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"
#include "tests/fakes/fake_descriptor_watcher.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/linux/other_instance.h"
#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr const char* kHost = "com.tovalin.host";

// A datagram socket of the test's own under a name in the file system.
class Mailbox {
 public:
  explicit Mailbox(const std::filesystem::path& file)
      : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const auto address = addressOf(file);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }

  bool isEmpty() const {
    char byte = 0;
    return recv(socket_.get(), &byte, 1, 0) < 0;
  }

  // Sends to the socket under that name; false when it takes no more.
  static bool send(const std::filesystem::path& file, const std::string& datagram) {
    const FileDescriptor from(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const auto address = addressOf(file);
    return sendto(from.get(), datagram.data(), datagram.size(), 0,
                  reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) == static_cast<ssize_t>(datagram.size());
  }

 private:
  static sockaddr_un addressOf(const std::filesystem::path& file) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_LT(file.native().size(), sizeof address.sun_path);
    file.native().copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
  }

  FileDescriptor socket_;
};

class RunningApplicationsTest : public testing::Test {
 protected:
  std::unique_ptr<RunningApplications> start() {
    return makeRunningApplications(runtime_, log_, loop_, [this] { ++terminations_; });
  }
  std::filesystem::path note(int pid) const { return runtime_ / kHost / std::to_string(pid); }
  std::filesystem::path socketOf(int pid) const { return note(pid).concat(".socket"); }

  test::TemporaryDirectory directory_;
  std::filesystem::path runtime_ = directory_ / "runtime";
  fake::FakeSystemLog log_;
  fake::FakeDescriptorWatcher loop_;
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
  EXPECT_TRUE(std::filesystem::is_socket(socketOf(getpid())));
  EXPECT_EQ(test::modeOf(socketOf(getpid())), 0600);
  EXPECT_EQ(test::modeOf(runtime_), 0700);
  EXPECT_EQ(test::modeOf(runtime_ / kHost), 0700);
  running.reset();
  EXPECT_EQ(test::filesIn(runtime_ / kHost), 0u);
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
  const auto socketOfOther = socketOf(other.pid());
  ASSERT_TRUE(std::filesystem::exists(noteOfOther));
  ASSERT_TRUE(std::filesystem::exists(socketOfOther));
  other.crash();
  EXPECT_THAT(running->processIds(kHost), ElementsAre(getpid()));
  EXPECT_FALSE(std::filesystem::exists(noteOfOther));
  EXPECT_FALSE(std::filesystem::exists(socketOfOther));
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

class ActivationTest : public RunningApplicationsTest {
 protected:
  void startListening() {
    running_ = start();
    shown_ = running_->onActivate([this] { ++timesShown_; });
  }
  bool askRaw(const std::string& datagram) { return Mailbox::send(socketOf(getpid()), datagram); }
  int timesShown() {
    loop_.runReady();
    return timesShown_;
  }

  std::unique_ptr<RunningApplications> running_;
  std::unique_ptr<Subscription> shown_;
  int timesShown_ = 0;
};

TEST_F(ActivationTest, AnotherInstanceIsAskedToShowItself) {
  const OtherInstance other(runtime_);
  const OtherInstance third(runtime_);
  const auto running = start();
  running->activate(third.pid());
  EXPECT_EQ(third.says(), '!');
  running->activate(other.pid());
  EXPECT_EQ(other.says(), '!');
}

TEST_F(ActivationTest, RequestsThatWaitTogetherAreOne) {
  startListening();
  running_->activate(getpid());
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 1);
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 2);
}

TEST_F(ActivationTest, ARequestFromBeforeAnybodyListensWaitsForTheLoop) {
  running_ = start();
  running_->activate(getpid());
  shown_ = running_->onActivate([this] { ++timesShown_; });
  EXPECT_EQ(timesShown(), 1);
}

TEST_F(ActivationTest, WhoeverHasStoppedListeningIsNotCalled) {
  startListening();
  shown_.reset();
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 0);
}

TEST_F(ActivationTest, AListenerMayStopWhileItIsCalled) {
  running_ = start();
  shown_ = running_->onActivate([this] {
    ++timesShown_;
    shown_.reset();
  });
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 1);
}

TEST_F(ActivationTest, ASubscriptionMayOutliveThePort) {
  startListening();
  running_.reset();
  EXPECT_EQ(loop_.watches(), 0u);
  shown_.reset();
}

TEST_F(ActivationTest, WhatIsNoRequestIsIgnored) {
  startListening();
  for (const auto& datagram : {std::string(), std::string("s"), std::string("SHOW"),
                               std::string("show "), std::string(100'000, 'x')}) {
    ASSERT_TRUE(askRaw(datagram)) << datagram.size();
  }
  EXPECT_EQ(timesShown(), 0);
  ASSERT_TRUE(askRaw("nonsense"));
  ASSERT_TRUE(askRaw("show"));
  EXPECT_EQ(timesShown(), 1);
}

TEST_F(ActivationTest, AnInstanceThatDoesNotReadHoldsNobodyUp) {
  startListening();
  while (askRaw("x")) {
  }
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 0);
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 1);
}

TEST_F(ActivationTest, NobodyIsAskedUnderANumberGivenToAnotherProgram) {
  startListening();
  test::writeFile(note(getppid()), "1\n");
  const Mailbox mailbox(socketOf(getppid()));
  running_->activate(getppid());
  EXPECT_TRUE(mailbox.isEmpty());
}

TEST_F(ActivationTest, ALinkInPlaceOfASocketIsNotFollowed) {
  const OtherInstance other(runtime_);
  startListening();
  const Mailbox mailbox(directory_ / "mailbox");
  std::filesystem::remove(socketOf(other.pid()));
  std::filesystem::create_symlink(directory_ / "mailbox", socketOf(other.pid()));
  running_->activate(other.pid());
  EXPECT_TRUE(mailbox.isEmpty());
}

TEST_F(ActivationTest, AskingWhoeverIsGoneOrDeafIsHarmless) {
  OtherInstance other(runtime_);
  startListening();
  std::filesystem::remove(socketOf(other.pid()));
  running_->activate(other.pid());
  test::writeFile(socketOf(other.pid()), "a file");
  running_->activate(other.pid());
  const int pid = other.pid();
  other.crash();
  for (const int gone : {pid, 0, -1, -pid}) running_->activate(gone);
  EXPECT_EQ(timesShown(), 0);
}

TEST_F(ActivationTest, ASocketLeftByADeadProcessOfTheSameNumberIsReplaced) {
  std::filesystem::create_directories(runtime_ / kHost);
  const Mailbox stale(socketOf(getpid()));
  startListening();
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 1);
  EXPECT_TRUE(stale.isEmpty());
}

TEST_F(ActivationTest, SocketsOfTheDeadAreRemovedAlsoWithoutANote) {
  startListening();
  OtherInstance other(runtime_);
  const auto orphan = socketOf(other.pid());
  std::filesystem::remove(note(other.pid()));
  EXPECT_THAT(running_->processIds(kHost), ElementsAre(getpid()));
  EXPECT_TRUE(std::filesystem::exists(orphan)) << "a starting process has no note yet";
  other.crash();
  EXPECT_THAT(running_->processIds(kHost), ElementsAre(getpid()));
  EXPECT_FALSE(std::filesystem::exists(orphan));
  EXPECT_TRUE(std::filesystem::exists(socketOf(getpid())));
}

TEST_F(ActivationTest, ADirectoryDeeperThanASocketsAddressIsNoHindrance) {
  runtime_ = directory_ / std::string(200, 'd');
  startListening();
  EXPECT_THAT(log_.lines(), IsEmpty());
  running_->activate(getpid());
  EXPECT_EQ(timesShown(), 1);
}

TEST_F(ActivationTest, WithoutASocketThePortStillCountsInstancesAndSaysSo) {
  std::filesystem::create_directories(socketOf(getpid()) / "in the way");
  startListening();
  EXPECT_THAT(running_->processIds(kHost), ElementsAre(getpid()));
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(StartsWith("[Tovalin] other instances cannot call this one: cannot listen ")));
}

TEST_F(ActivationTest, InADirectoryThatIsNotTrustedNobodyListensOrAsks) {
  const OtherInstance other(runtime_);
  std::filesystem::permissions(runtime_ / kHost, std::filesystem::perms(0777));
  startListening();
  EXPECT_EQ(loop_.watches(), 0u);
  EXPECT_FALSE(std::filesystem::exists(socketOf(getpid())));
  const Mailbox mailbox(socketOf(getpid()));
  running_->activate(getpid());
  EXPECT_TRUE(mailbox.isEmpty());
}

TEST_F(RunningApplicationsTest, TerminateAsksTheRunLoopToEnd) {
  const auto running = start();
  EXPECT_EQ(terminations_, 0);
  running->terminate();
  EXPECT_EQ(terminations_, 1);
}

}  // namespace
}  // namespace tovalin
