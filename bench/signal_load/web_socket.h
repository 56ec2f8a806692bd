#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "bench/signal_load/loop.h"

namespace tovalin::bench {

// A WebSocket client that costs as little as one can, so that the server is what is measured. It
// answers pings by itself and takes whole text frames only, which is what the server sends.
class WebSocket : private Ready {
 public:
  struct Events {
    std::function<void()> opened;
    std::function<void(std::string_view)> text;
    std::function<void()> closed;  // by the other side, or in failure; once
  };

  // Starts to connect from `address` to `port` on loopback. Throws std::system_error when even
  // that fails, for want of descriptors or ports.
  WebSocket(Loop& loop, const std::string& address, uint16_t port, const std::string& path,
            Events events);
  ~WebSocket() override;
  WebSocket(const WebSocket&) = delete;
  WebSocket& operator=(const WebSocket&) = delete;

  void send(std::string_view text);
  void close();  // says goodbye; `closed` follows
  bool isGone() const { return socket_ < 0; }

 private:
  void ready(uint32_t events) override;
  void frame(uint8_t opcode, std::string_view payload);
  void flush();
  bool takeHandshake();
  void takeFrames();
  void end();

  Events events_;
  std::string incoming_;
  std::string outgoing_;
  int socket_ = -1;
  bool open_ = false;
};

}  // namespace tovalin::bench
