#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/integration/companion/raw_connection.h"
#include "tests/integration/companion/server_process.h"
#include "tests/integration/companion/temporary_folder.h"

namespace tovalin::test {

// The built program on a free port, for tests that mistreat it.
class RunningServer : public testing::Test {
 protected:
  void start(unsigned descriptors = 0) {
    server_.emplace(std::vector<std::string>{"--listen", "127.0.0.1:0", "--state",
                                             (folder_.path() / "state").string(), "--viewer",
                                             page_.path().string()},
                    descriptors);
    port_ = server_->waitUntilReady();
  }

  // A server that still answers is whole.
  void expectServing() {
    page_.write("index.html", "the page");
    RawConnection honest(port_, "127.0.0.99");
    honest.write("GET / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(honest.readToEnd(), testing::EndsWith("\r\n\r\nthe page"));
    RawConnection phone(port_, "127.0.0.99");
    EXPECT_THAT(phone.upgrade("/viewer"), testing::StartsWith("HTTP/1.1 101 "));
    phone.write(clientFrame(0x81, R"({"type":"pair"})"));
    EXPECT_THAT(phone.readThrough("}"), testing::HasSubstr("bad-request"));
  }

  TemporaryFolder folder_;
  TemporaryFolder page_;
  std::optional<ServerProcess> server_;
  uint16_t port_ = 0;
};

}  // namespace tovalin::test
