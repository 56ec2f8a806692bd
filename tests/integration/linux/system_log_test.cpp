#include "platform/linux/system_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/linux/file_descriptor.h"
#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> syslogLines;

class SystemLogTest : public testing::Test {
 protected:
  SystemLogTest() {
    syslogLines.clear();
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    errorReader_ = FileDescriptor(ends[0]);
    errorWriter_ = FileDescriptor(ends[1]);
    targets_.journalSocket = directory_ / "journal";
    targets_.standardError = errorWriter_.get();
    targets_.syslogLine = [](const char* text) { syslogLines.emplace_back(text); };
  }

  void startJournal() {
    journal_ = FileDescriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, targets_.journalSocket.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(journal_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }

  // The journal's next entry, empty when there is none.
  std::string journalEntry() {
    char buffer[8192];
    const ssize_t count = recv(journal_.get(), buffer, sizeof buffer, 0);
    return count <= 0 ? "" : std::string(buffer, static_cast<size_t>(count));
  }

  std::string standardError() {
    std::string text;
    char buffer[8192];
    for (ssize_t count; (count = read(errorReader_.get(), buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<size_t>(count));
    }
    return text;
  }

  // systemd's "device:inode" of what standard error is here.
  std::string streamOfStandardError() {
    struct stat status;
    EXPECT_EQ(fstat(targets_.standardError, &status), 0);
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  }

  test::TemporaryDirectory directory_;
  SystemLogTargets targets_;
  FileDescriptor journal_;
  FileDescriptor errorReader_;
  FileDescriptor errorWriter_;
};

TEST_F(SystemLogTest, ALineReachesTheJournalAndStandardError) {
  startJournal();
  makeSystemLog(targets_)->line("[Tovalin] capture start failed: no display");
  EXPECT_EQ(journalEntry(),
            "MESSAGE=[Tovalin] capture start failed: no display\nPRIORITY=6\n"
            "SYSLOG_IDENTIFIER=tovalin-host\n");
  EXPECT_EQ(standardError(), "[Tovalin] capture start failed: no display\n");
  EXPECT_THAT(syslogLines, IsEmpty());
}

TEST_F(SystemLogTest, ALineIsNotSaidTwiceWhenStandardErrorIsTheJournal) {
  startJournal();
  targets_.journalStream = streamOfStandardError();
  makeSystemLog(targets_)->line("[Tovalin] once");
  EXPECT_THAT(journalEntry(), HasSubstr("[Tovalin] once"));
  EXPECT_EQ(standardError(), "");
}

TEST_F(SystemLogTest, AnInheritedJournalStreamOfAnotherFileChangesNothing) {
  targets_.journalStream = "8:12345";
  makeSystemLog(targets_)->line("[Tovalin] said");
  EXPECT_EQ(standardError(), "[Tovalin] said\n");
}

TEST_F(SystemLogTest, WithoutAJournalTheLineGoesToSyslog) {
  makeSystemLog(targets_)->line("[Tovalin] 100% plain");
  EXPECT_THAT(syslogLines, ElementsAre("[Tovalin] 100% plain"));
  EXPECT_EQ(standardError(), "[Tovalin] 100% plain\n");
}

TEST_F(SystemLogTest, AJournalThatStartsLaterIsFound) {
  const auto log = makeSystemLog(targets_);
  log->line("[Tovalin] early");
  startJournal();
  log->line("[Tovalin] late");
  EXPECT_THAT(syslogLines, ElementsAre("[Tovalin] early"));
  EXPECT_THAT(journalEntry(), HasSubstr("[Tovalin] late"));
}

TEST_F(SystemLogTest, BytesThatCouldForgeALineAreShown) {
  using namespace std::string_literals;
  const struct {
    std::string text;
    std::string shown;
  } cases[] = {
      {"a\nPRIORITY=0", "a\\x0aPRIORITY=0"},
      {"a\r\tb", "a\\x0d\\x09b"},
      {"\x1b[31mred", "\\x1b[31mred"},
      {"nul\0!"s, "nul\\x00!"},
      {"del\x7f", "del\\x7f"},
      {"c1 \xc2\x9b", "c1 \\xc2\\x9b"},
      {"ill-formed \xff\xe4\xba", "ill-formed \\xff\\xe4\\xba"},
      {"kept: ä… 🟢 \xc2\xa0", "kept: ä… 🟢 \xc2\xa0"},
      {"", ""},
  };
  const auto log = makeSystemLog(targets_);
  for (const auto& test : cases) {
    log->line(test.text);
    EXPECT_EQ(standardError(), test.shown + "\n");
  }
}

TEST_F(SystemLogTest, AnEndlessLineIsCutBetweenCharacters) {
  std::string text = "x";
  for (int i = 0; i < 100'000; ++i) text += "…";
  makeSystemLog(targets_)->line(text);
  const std::string written = standardError();
  EXPECT_EQ(written.size(), 1u + 666u * 3u + 1u);
  EXPECT_EQ(written, text.substr(0, written.size() - 1) + "\n");
}

TEST_F(SystemLogTest, NobodyReadingHoldsUpNobody) {
  startJournal();
  const auto log = makeSystemLog(targets_);
  for (int i = 0; i < 5000; ++i) log->line("[Tovalin] " + std::string(100, 'x'));
  EXPECT_THAT(syslogLines, IsEmpty());
  EXPECT_THAT(journalEntry(), HasSubstr("MESSAGE=[Tovalin] xxx"));
  const std::string written = standardError();
  EXPECT_GE(written.size(), 4096u);
  EXPECT_EQ(written.back(), '\n');
}

TEST_F(SystemLogTest, AClosedStandardErrorIsNoTrouble) {
  startJournal();
  targets_.standardError = -1;
  makeSystemLog(targets_)->line("[Tovalin] still here");
  EXPECT_THAT(journalEntry(), HasSubstr("[Tovalin] still here"));
}

TEST_F(SystemLogTest, LinesOfManyThreadsStayWhole) {
  targets_.syslogLine = nullptr;
  const auto log = makeSystemLog(targets_);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&log, i] {
      for (int n = 0; n < 50; ++n) log->line(std::string(80, static_cast<char>('a' + i)));
    });
  }
  for (auto& thread : threads) thread.join();
  const std::string written = standardError();
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 200);
  for (size_t begin = 0; begin < written.size(); begin += 81) {
    EXPECT_EQ(written.substr(begin, 81), std::string(80, written[begin]) + "\n");
  }
}

TEST(SystemLogTargetsTest, KnowTheStreamThatSystemdNames) {
  setenv("JOURNAL_STREAM", "1:2", 1);
  EXPECT_EQ(systemLogTargets().journalStream, "1:2");
  unsetenv("JOURNAL_STREAM");
  EXPECT_EQ(systemLogTargets().journalStream, "");
  EXPECT_NE(systemLogTargets().syslogLine, nullptr);
}

}  // namespace
}  // namespace tovalin
