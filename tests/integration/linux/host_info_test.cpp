#include "platform/linux/host_info.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

class HostInfoTest : public testing::Test {
 protected:
  std::optional<std::string> nameWith(
      const std::string& machineInfo,
      std::string (*hostName)() = [] { return std::string("ada-desktop"); }) {
    test::writeFile(file_, machineInfo);
    return makeHostInfo(file_, hostName)->localizedName();
  }

  test::TemporaryDirectory directory_;
  std::filesystem::path file_ = directory_ / "machine-info";
};

TEST_F(HostInfoTest, ThePrettyNameIsReadAsAShellWouldReadIt) {
  const struct {
    std::string file;
    std::string name;
  } cases[] = {
      {"PRETTY_HOSTNAME=Workshop\n", "Workshop"},
      {"PRETTY_HOSTNAME=\"Ada's Computer\"\n", "Ada's Computer"},
      {"PRETTY_HOSTNAME='Say \"hi\"'\n", "Say \"hi\""},
      {"PRETTY_HOSTNAME=\"a \\\"b\\\" \\$c \\`d\\` \\\\\"\n", "a \"b\" $c `d` \\"},
      {"PRETTY_HOSTNAME='back\\slash'\n", "back\\slash"},
      {"PRETTY_HOSTNAME=Ada\\ L\n", "Ada L"},
      {"  PRETTY_HOSTNAME=\"Büro 🖥️\"  \r\n", "Büro 🖥️"},
      {"PRETTY_HOSTNAME=no newline", "no newline"},
      {"# PRETTY_HOSTNAME=comment\nICON_NAME=computer\nPRETTY_HOSTNAME=b\n", "b"},
      {"PRETTY_HOSTNAME=a\nPRETTY_HOSTNAME=b\n", "b"},
      {"PRETTY_HOSTNAME=\"unclosed\n", "unclosed"},
      {"PRETTY_HOSTNAME=trailing\\", "trailing\\"},
  };
  for (const auto& test : cases) EXPECT_EQ(nameWith(test.file), test.name);
}

TEST_F(HostInfoTest, WithoutAUsablePrettyNameTheHostNameStandsIn) {
  for (const auto* file :
       {"", "PRETTY_HOSTNAME=\n", "PRETTY_HOSTNAME=\"\"\n", "PRETTY_HOSTNAME=\"  \"\n",
        "DEPLOYMENT=x\n", "PRETTY_HOSTNAME=\"bad \xff byte\"\n", "PRETTY_HOSTNAME=\"bell\x07\"\n",
        "PRETTY_HOSTNAME=localhost\n"}) {
    EXPECT_EQ(nameWith(file), "ada-desktop") << file;
  }
  EXPECT_EQ(makeHostInfo(directory_ / "missing", [] { return std::string("x"); })->localizedName(),
            "x");
  EXPECT_EQ(makeHostInfo(directory_.path(), [] { return std::string("x"); })->localizedName(), "x");
}

TEST_F(HostInfoTest, ANameThatNobodyGaveIsNone) {
  EXPECT_EQ(nameWith("", [] { return std::string(); }), std::nullopt);
  EXPECT_EQ(nameWith("", [] { return std::string("localhost"); }), std::nullopt);
  EXPECT_EQ(nameWith("", [] { return std::string("localhost.localdomain"); }), std::nullopt);
  EXPECT_EQ(nameWith("", [] { return std::string("(none)"); }), std::nullopt);
  EXPECT_EQ(nameWith("", [] { return std::string("\xff"); }), std::nullopt);
}

TEST_F(HostInfoTest, ANewNameIsSeenAtOnce) {
  test::writeFile(file_, "PRETTY_HOSTNAME=old\n");
  const auto info = makeHostInfo(file_, [] { return std::string(); });
  EXPECT_EQ(info->localizedName(), "old");
  test::writeFile(file_, "PRETTY_HOSTNAME=new\n");
  EXPECT_EQ(info->localizedName(), "new");
}

TEST_F(HostInfoTest, TheProgramHasItsIdentifier) {
  EXPECT_EQ(makeHostInfo()->bundleIdentifier(), "com.tovalin.host");
}

TEST_F(HostInfoTest, TheHostNameIsTheKernels) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(kernelHostName(), names.nodename);
}

}  // namespace
}  // namespace tovalin
