#include "companion/server/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/integration/companion/temporary_folder.h"

namespace tovalin::server {
namespace {

using testing::ElementsAre;

class OptionsTest : public testing::Test {
 protected:
  using Words = std::vector<std::string>;

  static std::variant<Options, std::string> parse(const Words& words) {
    std::vector<const char*> pointers;
    for (const auto& word : words) pointers.push_back(word.c_str());
    return parseOptions(pointers);
  }
  static Options accepted(const Words& words) {
    const auto parsed = parse(words);
    const auto* problem = std::get_if<std::string>(&parsed);
    EXPECT_FALSE(problem) << *problem;
    return problem ? Options() : std::get<Options>(parsed);
  }
  static std::string refused(const Words& words) {
    const auto parsed = parse(words);
    const auto* problem = std::get_if<std::string>(&parsed);
    EXPECT_TRUE(problem) << "accepted";
    return problem ? *problem : std::string();
  }

  std::string file(const std::string& text) const {
    folder_.write("signal.conf", text);
    return (folder_.path() / "signal.conf").string();
  }

  test::TemporaryFolder folder_;
};

TEST_F(OptionsTest, NothingSaidIsALocalServerWithoutTls) {
  const auto options = accepted({});
  EXPECT_EQ(options.listen.address, "127.0.0.1");
  EXPECT_EQ(options.listen.port, 8080);
  EXPECT_EQ(options.tlsCertificate, "");
  EXPECT_FALSE(options.printPins);
}

TEST_F(OptionsTest, FlagsAndFileSayTheSame) {
  const Options both[] = {
      accepted({"--listen",
                "[::1]:9000",
                "--tls-cert",
                "c.pem",
                "--tls-key",
                "k.pem",
                "--state",
                "s",
                "--viewer",
                "v",
                "--stun",
                "stun:a",
                "--turn",
                "turn:b:3478?transport=udp",
                "--turn",
                "turns:c",
                "--turn-secret-file",
                "secret",
                "--turn-ttl",
                "600",
                "--public-url",
                "https://Signal.Example.org:443/",
                "--trusted-proxy",
                "10.0.0.0/8",
                "--metrics",
                "[::1]:9100",
                "--log-level",
                "warning",
                "--print-pins"}),
      accepted({"--config", file("# a comment\n"
                                 "\n"
                                 "listen=[::1]:9000\r\n"
                                 "  tls-cert =  c.pem  \n"
                                 "tls-key = k.pem\n"
                                 "state = s\n"
                                 "viewer = v\n"
                                 "stun = stun:a\n"
                                 "turn = turn:b:3478?transport=udp\n"
                                 "turn = turns:c\n"
                                 "turn-secret-file = secret\n"
                                 "turn-ttl = 600\n"
                                 "public-url = https://Signal.Example.org:443/\n"
                                 "trusted-proxy = 10.0.0.0/8\n"
                                 "metrics = [::1]:9100\n"
                                 "log-level = warning\n"
                                 "print-pins = yes")}),
  };
  for (const auto& options : both) {
    EXPECT_EQ(options.listen.address, "::1");
    EXPECT_EQ(options.listen.port, 9000);
    EXPECT_EQ(options.tlsCertificate, "c.pem");
    EXPECT_EQ(options.tlsKey, "k.pem");
    EXPECT_EQ(options.state, "s");
    EXPECT_EQ(options.viewer, "v");
    EXPECT_THAT(options.stun, ElementsAre("stun:a"));
    EXPECT_THAT(options.turn, ElementsAre("turn:b:3478?transport=udp", "turns:c"));
    EXPECT_EQ(options.turnSecretFile, "secret");
    EXPECT_EQ(options.turnLife, std::chrono::seconds(600));
    EXPECT_EQ(options.publicOrigin, "https://signal.example.org");
    ASSERT_EQ(options.trustedProxies.size(), 1u);
    EXPECT_TRUE(options.trustedProxies[0].contains("10.1.2.3"));
    ASSERT_TRUE(options.metrics);
    EXPECT_EQ(options.metrics->address, "::1");
    EXPECT_EQ(options.metrics->port, 9100);
    EXPECT_EQ(options.logLevel, LogLevel::warning);
    EXPECT_TRUE(options.printPins);
  }
}

TEST_F(OptionsTest, FlagsWin) {
  const auto config = file("listen = 127.0.0.1:1\nstun = stun:a\nstun = stun:b\nviewer = v\n");
  const auto options =
      accepted({"--stun", "stun:c", "--config", config, "--listen", "127.0.0.1:2"});
  EXPECT_EQ(options.listen.port, 2);
  EXPECT_THAT(options.stun, ElementsAre("stun:c"));
  EXPECT_EQ(options.viewer, "v");
}

TEST_F(OptionsTest, WhatIsWrongWithAFileIsSaidWithItsLine) {
  for (const auto& [text, problem] : std::vector<std::pair<std::string, std::string>>{
           {"listen = 1\n", ":1: listen needs ADDRESS:PORT, not \"1\""},
           {"\n# x\nlisten 127.0.0.1:1\n", ":3: this is not \"key = value\""},
           {"lisen = 127.0.0.1:1\n", ":1: unknown key \"lisen\""},
           {"--listen = 127.0.0.1:1\n", ":1: unknown key \"--listen\""},
           {"config = other\n", ":1: unknown key \"config\""},
           {"help = yes\n", ":1: unknown key \"help\""},
           {"state = a\nstate = b\n", ":2: state was already set above"},
           {"print-pins = maybe\n", ":1: print-pins needs yes or no, not \"maybe\""},
           {"state =\n", ":1: state needs a folder, not \"\""},
       }) {
    const auto config = file(text);
    EXPECT_EQ(refused({"--config", config}), config + problem);
  }
  EXPECT_EQ(refused({"--config", file("listen = 1\n"), "--listen", "127.0.0.1:1"}),
            (folder_.path() / "signal.conf").string() + ":1: listen needs ADDRESS:PORT, not \"1\"")
      << "even where a flag wins";
}

TEST_F(OptionsTest, FileThatCannotBeReadIsNamed) {
  const std::string missing = (folder_.path() / "missing").string();
  EXPECT_EQ(refused({"--config", missing}), "cannot read " + missing);
  EXPECT_EQ(refused({"--config", folder_.path().string()}),
            "cannot read " + folder_.path().string());
}

TEST_F(OptionsTest, ValuesThatMakeNoSenseAreNamed) {
  for (const auto& [flag, value] : std::vector<std::pair<std::string, std::string>>{
           {"--listen", "127.0.0.1"},
           {"--listen", "127.0.0.1:65536"},
           {"--listen", ":80"},
           {"--listen", "127.0.0.1:"},
           {"--listen", "127.0.0.1:-1"},
           {"--listen", "8080"},
           {"--listen", "::1:80"},
           {"--listen", "127.0.0.1:80x"},
           {"--stun", "stun.example.org"},
           {"--stun", "stun:"},
           {"--turn", "stun:a"},
           {"--turn", "turn:a b"},
           {"--turn-ttl", "0"},
           {"--turn-ttl", "1h"},
           {"--turn-ttl", "604801"},
           {"--public-url", "signal.example.org"},
           {"--public-url", "https://"},
           {"--public-url", "https://a/path"},
           {"--public-url", "wss://a"},
           {"--trusted-proxy", "proxy.example.org"},
           {"--trusted-proxy", "10.0.0.0/33"},
           {"--trusted-proxy", "10.0.0.0/-1"},
           {"--trusted-proxy", "::/129"},
           {"--trusted-proxy", "10.0.0.0/"},
           {"--tls-cert", ""},
           {"--metrics", "9100"},
           {"--metrics", "0.0.0.0:9100"},
           {"--metrics", "[::]:9100"},
           {"--metrics", "192.0.2.1:9100"},
           {"--metrics", "localhost:9100"},
           {"--log-level", "loud"},
       }) {
    const std::string problem = refused({flag, value});
    EXPECT_THAT(problem, testing::StartsWith(flag + " needs ")) << value;
    EXPECT_THAT(problem, testing::EndsWith(", not \"" + value + "\""));
  }
}

TEST_F(OptionsTest, HalvesThatNeedEachOtherAreNamed) {
  EXPECT_EQ(refused({"--tls-cert", "c"}), "tls-cert and tls-key go together");
  EXPECT_EQ(refused({"--tls-key", "k"}), "tls-cert and tls-key go together");
  EXPECT_EQ(refused({"--turn", "turn:a"}), "turn and turn-secret-file go together");
  EXPECT_EQ(refused({"--turn-secret-file", "s"}), "turn and turn-secret-file go together");
}

TEST_F(OptionsTest, UnknownAndUnfinishedFlagsAreNamed) {
  EXPECT_EQ(refused({"--nonsense"}), "unknown option \"--nonsense\"; --help lists them");
  EXPECT_EQ(refused({"listen"}), "unknown option \"listen\"; --help lists them");
  EXPECT_EQ(refused({"--listen"}), "--listen needs a value");
  EXPECT_EQ(refused({"--state"}), "--state needs a value");
  EXPECT_EQ(refused({"--config"}), "--config needs a value");
}

}  // namespace
}  // namespace tovalin::server
