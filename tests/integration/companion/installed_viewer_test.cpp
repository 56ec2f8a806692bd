#include <gtest/gtest.h>

#include "companion/server/options.h"
#include "tests/integration/companion/temporary_folder.h"

namespace tovalin::server {
namespace {

TEST(InstalledViewerTest, IsFoundFromTheProgramWhateverThePrefix) {
  const test::TemporaryFolder prefix;
  prefix.write("share/tovalin-signal/viewer/index.html", "<!doctype html>");
  EXPECT_EQ(installedViewerDirectory(prefix.path() / "bin/tovalin-signal"),
            prefix.path() / "share/tovalin-signal/viewer");
}

TEST(InstalledViewerTest, IsMissingWhereNothingWasInstalled) {
  const test::TemporaryFolder prefix;
  EXPECT_EQ(installedViewerDirectory(prefix.path() / "bin/tovalin-signal"), "");
}

TEST(InstalledViewerTest, IsMissingWhereAFileStandsInItsPlace) {
  const test::TemporaryFolder prefix;
  prefix.write("share/tovalin-signal/viewer", "");
  EXPECT_EQ(installedViewerDirectory(prefix.path() / "bin/tovalin-signal"), "");
}

}  // namespace
}  // namespace tovalin::server
