#include "companion/server/metrics.h"

#include "tests/integration/companion/switchboard_fixture.h"

namespace tovalin::server {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

class MetricsTest : public SwitchboardTest {
 protected:
  std::string page() { return metricsText(counters_, board_->gauges(), {1.5, 4096}); }
};

TEST_F(MetricsTest, NewServerHasAllItsGauges) {
  const std::string text = page();
  for (const char* line :
       {"tovalin_connections{kind=\"host\"} 0\n", "tovalin_connections{kind=\"viewer\"} 0\n",
        "tovalin_hosts 0\n", "tovalin_visits 0\n", "tovalin_relayed_messages_total 0\n",
        "tovalin_uptime_seconds 1.5\n", "tovalin_resident_bytes 4096\n",
        "# TYPE tovalin_joins_total counter\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST_F(MetricsTest, GaugesFollowWhoIsThere) {
  const auto host = hostRegisters();
  connect(Endpoint::host);
  const auto device = pairDevice(host);
  const auto viewer = visitRuns(host, device);
  Gauges gauges = board_->gauges();
  EXPECT_EQ(gauges.hostConnections, 2u);
  EXPECT_EQ(gauges.viewerConnections, 1u);
  EXPECT_EQ(gauges.registeredHosts, 1u);
  EXPECT_EQ(gauges.visits, 1u);
  board_->closed(viewer, true);
  board_->closed(host, true);
  gauges = board_->gauges();
  EXPECT_EQ(gauges.hostConnections, 1u);
  EXPECT_EQ(gauges.viewerConnections, 0u);
  EXPECT_EQ(gauges.registeredHosts, 0u);
  EXPECT_EQ(gauges.visits, 0u);
}

TEST_F(MetricsTest, ResultsAreCounted) {
  const auto host = hostRegisters();
  const auto device = pairDevice(host);
  const auto guesser = viewerConnects();
  for (int i = 0; i < 6; ++i) wrongPin(guesser, "x");
  for (int i = 0; i < 6; ++i) {
    says(guesser, {{"type", "pair"}, {"host", "HOST-1"}, {"token", "wrong"}});
  }
  EXPECT_THAT(counters_.pairings,
              UnorderedElementsAre(Pair("paired", 1), Pair("bad-request", 6), Pair("wrong-pin", 5),
                                   Pair("locked-out", 1)));
  visitRuns(host, device);
  auto stranger = device;
  stranger.key = "";
  viewerJoins(stranger);
  board_->closed(host, true);
  viewerJoins(device);
  EXPECT_THAT(counters_.joins, UnorderedElementsAre(Pair("joined", 1), Pair("unknown-device", 1),
                                                    Pair("host-offline", 1)));
  EXPECT_THAT(page(), HasSubstr("tovalin_joins_total{result=\"host-offline\"} 1\n"));
}

TEST_F(MetricsTest, RelayedMessagesAndBytesAreCounted) {
  const auto host = hostRegisters();
  visitRuns(host, pairDevice(host));
  const auto bytes = counters_.bytesReceived;
  EXPECT_EQ(counters_.relayed, 1u) << "the offer";
  const Json lock{{"type", "lock"}, {"v", true}};
  says(host, lock);
  says(host, {{"type", "lock"}});
  EXPECT_EQ(counters_.relayed, 2u);
  EXPECT_EQ(counters_.bytesReceived, bytes + lock.dump().size() + 15);
}

TEST(MetricsPageTest, CloseCodesOfPeersMakeNoLinesOfTheirOwn) {
  Counters counters;
  counters.closes = {{1000, 2}, {4001, 3}, {3000, 4}, {4999, 5}};
  const std::string text = metricsText(counters, {}, {});
  EXPECT_THAT(text, HasSubstr("tovalin_closes_total{code=\"1000\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("tovalin_closes_total{code=\"4001\"} 3\n"));
  EXPECT_THAT(text, HasSubstr("tovalin_closes_total{code=\"other\"} 9\n"));
  EXPECT_THAT(text, Not(HasSubstr("3000")));
}

TEST(MetricsPageTest, ThisProcessHasMemory) {
  EXPECT_GT(residentBytes(), 100'000u);
}

TEST(LogTextTest, FieldsStandOnOneLineAndAreQuotedWhereNeeded) {
  EXPECT_EQ(logText({LogLevel::info, "host-online", {{"host", "A-1"}, {"connection", "7"}}}),
            "level=info event=host-online host=A-1 connection=7");
  EXPECT_EQ(logText({LogLevel::error, "e", {{"a", ""}, {"b", "x y"}, {"c", "k=v"}}}),
            "level=error event=e a=\"\" b=\"x y\" c=\"k=v\"");
  EXPECT_EQ(logText({LogLevel::debug, "e", {{"a", "say \"hi\" \\ bye"}}}),
            "level=debug event=e a=\"say \\\"hi\\\" \\\\ bye\"");
  EXPECT_EQ(logText({LogLevel::warning, "e", {{"a", "two\nlines\x1b[m"}}}),
            "level=warning event=e a=\"two?lines?[m\"");
  EXPECT_EQ(logText({LogLevel::info, "e", {{"a", "Zoë"}}}), "level=info event=e a=Zoë");
}

TEST(LogTextTest, LevelsHaveNames) {
  EXPECT_EQ(logLevelOf("debug"), LogLevel::debug);
  EXPECT_EQ(logLevelOf("error"), LogLevel::error);
  EXPECT_EQ(logLevelOf("loud"), std::nullopt);
}

}  // namespace
}  // namespace tovalin::server
