// The built program on its command line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/integration/companion/server_process.h"
#include "tests/integration/companion/temporary_folder.h"
#include "tests/integration/companion/test_client.h"

namespace tovalin::test {
namespace {

using testing::HasSubstr;

class SignalProgramTest : public testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string output, log;
  };
  static Outcome run(const std::vector<std::string>& arguments) {
    ServerProcess process(arguments);
    Outcome outcome{0, process.readOutput(), process.readLog()};
    outcome.status = process.waitForExit();
    return outcome;
  }

  TemporaryFolder folder_;
};

TEST_F(SignalProgramTest, TakenPortIsNamedInOneLine) {
  const TakenPort taken;
  const std::string place = "127.0.0.1:" + std::to_string(taken.port());
  const auto outcome = run({"--listen", place, "--state", folder_.path().string()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.log, "tovalin-signal: " + place +
                             " is already in use: stop the program that listens there, or choose "
                             "another port with --listen ADDRESS:PORT\n");
  EXPECT_EQ(outcome.output, "");
}

TEST_F(SignalProgramTest, BadOptionsAreNamedInOneLine) {
  const auto outcome = run({"--nonsense"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.log, "tovalin-signal: unknown option \"--nonsense\"; --help lists them\n");
}

TEST_F(SignalProgramTest, FoldersThatCannotBeUsedAreNamedInOneLine) {
  folder_.write("file", "");
  const std::string file = (folder_.path() / "file").string();
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"--listen", "127.0.0.1:0", "--state", file},
           {"--listen", "127.0.0.1:0", "--state", folder_.path().string(), "--viewer",
            file + "-missing"},
       }) {
    const auto outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.log, HasSubstr(file));
    EXPECT_EQ(std::count(outcome.log.begin(), outcome.log.end(), '\n'), 1) << outcome.log;
  }
}

TEST_F(SignalProgramTest, HelpSaysWhatPrintingPinsMeans) {
  const auto outcome = run({"--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("whoever reads"));
  EXPECT_EQ(outcome.log, "");
}

}  // namespace
}  // namespace tovalin::test
