#pragma once

#include <cstdint>
#include <string>

namespace tovalin::test {

// A TCP connection whose bytes are the test's own, for everything that no honest client sends.
// Every wait is bounded.
class RawConnection {
 public:
  // `receiveBuffer` bytes are taken from the server while nobody reads; 0: as usual.
  explicit RawConnection(uint16_t port, const std::string& from = "127.0.0.1",
                         int receiveBuffer = 0);
  ~RawConnection();
  RawConnection(RawConnection&& other) noexcept;
  RawConnection& operator=(RawConnection&& other) noexcept;

  // Sends what the server takes. An end of the connection shows when it is read.
  void write(const std::string& bytes);

  // Upgrades to a WebSocket with these header lines besides the needed ones; returns the answer's
  // header.
  std::string upgrade(const std::string& path, const std::string& moreHeaders = "");

  // Reads to the first `mark` and returns everything up to its end, or what came before the end of
  // the connection.
  std::string readThrough(const std::string& mark);

  // Reads to the end of the connection, however it ends.
  std::string readToEnd();

  // Takes what is there and says whether the connection has ended.
  bool hasEnded();

  int descriptor() const { return socket_; }

 private:
  bool readSome();

  int socket_ = -1;
  std::string unread_;
};

// A WebSocket frame as a client builds it; `first` is the byte with FIN, the reserved bits and the
// kind.
std::string clientFrame(uint8_t first, const std::string& payload);

// The code of the close frame among the server's frames, or 1006 when there is none.
int closeCodeIn(const std::string& frames);

}  // namespace tovalin::test
