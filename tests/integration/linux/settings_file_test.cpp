#include "platform/linux/settings_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/linux/settings_text.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

using test::filesIn;
using test::modeOf;
using test::readFile;
using test::writeFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class SettingsFileTest : public testing::Test {
 protected:
  std::unique_ptr<UserDefaults> open() { return makeSettingsFile(file_, log_); }

  test::TemporaryDirectory directory_;
  std::filesystem::path file_ = directory_ / "config/com.tovalin.host/settings.ini";
  std::filesystem::path corrupt_ = directory_ / "config/com.tovalin.host/settings.ini.corrupt";
  fake::FakeSystemLog log_;
};

TEST_F(SettingsFileTest, AFreshUserHasNothingAndNoFile) {
  const auto settings = open();
  EXPECT_EQ(settings->string("tovalin.hostId"), std::nullopt);
  EXPECT_EQ(settings->boolean("tovalin.hasPairedOnce"), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(file_));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SettingsFileTest, WhatIsWrittenIsThereInTheNextRun) {
  open()->setString("tovalin.hostId", "ABC");
  open()->setBoolean("tovalin.hasPairedOnce", true);
  const auto settings = open();
  EXPECT_EQ(settings->string("tovalin.hostId"), "ABC");
  EXPECT_EQ(settings->boolean("tovalin.hasPairedOnce"), true);
  EXPECT_EQ(readFile(file_), "[General]\ntovalin.hostId=ABC\ntovalin.hasPairedOnce=true\n");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SettingsFileTest, AWriteIsOnDiskWhenTheCallReturns) {
  const auto settings = open();
  settings->setString("tovalin.hostId", "one");
  EXPECT_THAT(readFile(file_), HasSubstr("tovalin.hostId=one\n"));
  settings->setString("tovalin.hostId", "two");
  EXPECT_THAT(readFile(file_), HasSubstr("tovalin.hostId=two\n"));
  EXPECT_EQ(settings->string("tovalin.hostId"), "two");
}

TEST_F(SettingsFileTest, OnlyTheUserMayReadTheSecretInIt) {
  open()->setString("tovalin.hostKey", "secret");
  EXPECT_EQ(modeOf(file_), 0600);
  EXPECT_EQ(modeOf(file_.parent_path()), 0700);
  EXPECT_EQ(modeOf(file_.parent_path().parent_path()), 0700);

  std::filesystem::permissions(file_, std::filesystem::perms(0644));
  open()->setString("tovalin.hostKey", "secret");
  EXPECT_EQ(modeOf(file_), 0600);
}

TEST_F(SettingsFileTest, LeavesNoTemporaryFilesBehind) {
  const auto settings = open();
  for (int i = 0; i < 10; ++i) settings->setString("key", std::to_string(i));
  EXPECT_EQ(filesIn(file_.parent_path()), 1u);
}

TEST_F(SettingsFileTest, KeepsWhatTheUserEditsDuringTheRun) {
  writeFile(file_, "[General]\na=1\nb=1\n");
  const auto settings = open();
  writeFile(file_, "# edited\n[General]\na=by hand\nnew=line\nb=1\n");
  settings->setString("b", "2");
  EXPECT_EQ(readFile(file_), "# edited\n[General]\na=by hand\nnew=line\nb=2\n");
  EXPECT_EQ(settings->string("a"), "1");
}

TEST_F(SettingsFileTest, AFileRemovedDuringTheRunIsWrittenWhole) {
  writeFile(file_, "[General]\na=1\n");
  const auto settings = open();
  std::filesystem::remove(file_);
  settings->setString("b", "2");
  EXPECT_EQ(readFile(file_), "[General]\na=1\nb=2\n");
}

TEST_F(SettingsFileTest, ADamagedFileIsKeptAsideAndDefaultsApply) {
  using namespace std::string_literals;
  const std::string damaged[] = {
      "[General]\ntovalin.hostId=ABC\ntorn li"s,
      "tovalin.hostId=ABC\n"s,
      std::string(4096, '\0'),
      "[General]\ntovalin.hostId=\xff\xfe\n"s,
      "[General]\ntovalin.hostId=" + std::string(2 * kSettingsLimitBytes, 'x'),
  };
  for (const auto& content : damaged) {
    writeFile(file_, content);
    const size_t linesBefore = log_.lines().size();
    const auto settings = open();
    EXPECT_EQ(settings->string("tovalin.hostId"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file_));
    EXPECT_TRUE(readFile(corrupt_) == content);
    ASSERT_EQ(log_.lines().size(), linesBefore + 1);
    EXPECT_THAT(log_.lines().back(), AllOf(StartsWith("[Tovalin] settings file is damaged ("),
                                           HasSubstr(", kept as " + corrupt_.string())));
    settings->setString("tovalin.hostId", "NEW");
    EXPECT_EQ(readFile(file_), "[General]\ntovalin.hostId=NEW\n");
  }
}

TEST_F(SettingsFileTest, AFileDamagedDuringTheRunIsKeptAsideAndWrittenWhole) {
  const auto settings = open();
  settings->setString("a", "1");
  writeFile(file_, "not settings");
  settings->setString("b", "2");
  EXPECT_EQ(readFile(corrupt_), "not settings");
  EXPECT_EQ(readFile(file_), "[General]\na=1\nb=2\n");
  EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(SettingsFileTest, WhatCannotBeSavedIsKeptInMemoryAndSaidOnce) {
  writeFile(directory_ / "config", "a file where a directory should be");
  const auto settings = open();
  settings->setString("tovalin.hostId", "ABC");
  settings->setBoolean("tovalin.loginConfigured", true);
  EXPECT_EQ(settings->string("tovalin.hostId"), "ABC");
  EXPECT_EQ(settings->boolean("tovalin.loginConfigured"), true);
  EXPECT_THAT(log_.lines(), ElementsAre("[Tovalin] settings are kept in memory only: cannot read " +
                                        file_.string() + ": Not a directory"));
}

TEST_F(SettingsFileTest, ADirectoryThatCannotBeMadeIsSaidOnce) {
  file_ = "/proc/no-such-directory/settings.ini";
  const auto settings = open();
  settings->setString("a", "1");
  settings->setString("b", "2");
  EXPECT_EQ(settings->string("a"), "1");
  EXPECT_THAT(log_.lines(),
              ElementsAre(StartsWith("[Tovalin] settings are kept in memory only: cannot make "
                                     "directory /proc/no-such-directory: ")));
}

TEST_F(SettingsFileTest, AFileThatCannotBeReplacedLeavesNoTemporaryFile) {
  std::filesystem::create_directories(file_ / "a directory in its place");
  const auto settings = open();
  settings->setString("a", "1");
  EXPECT_EQ(settings->string("a"), "1");
  EXPECT_EQ(filesIn(file_.parent_path()), 1u);
  EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(SettingsFileTest, WhatCouldNotBeSavedGoesOutWithTheNextWrite) {
  writeFile(directory_ / "config", "in the way");
  const auto settings = open();
  settings->setString("a", "1");
  std::filesystem::remove(directory_ / "config");
  writeFile(file_, "[General]\nother=kept\n");
  settings->setString("b", "2");
  EXPECT_EQ(readFile(file_), "[General]\nother=kept\na=1\nb=2\n");
}

TEST_F(SettingsFileTest, ReadersSeeOnlyWholeFiles) {
  const auto settings = open();
  settings->setString("first", std::string(3000, 'a'));
  settings->setString("last", "0");
  std::atomic<bool> writing = true;
  int reads = 0;
  std::string damage;
  std::thread reader([&] {
    do {
      ++reads;
      const auto parsed = SettingsText::parse(readFile(file_));
      const auto* text = std::get_if<SettingsText>(&parsed);
      if (text == nullptr || !text->string("last") || text->string("first")->size() != 3000) {
        damage = readFile(file_);
      }
    } while (writing);
  });
  for (int i = 0; i < 100; ++i) {
    settings->setString("first", std::string(3000, static_cast<char>('a' + i % 26)));
  }
  writing = false;
  reader.join();
  EXPECT_EQ(damage, "");
  EXPECT_GT(reads, 0);
}

}  // namespace
}  // namespace tovalin
