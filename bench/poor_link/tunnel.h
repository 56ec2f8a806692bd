#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace tovalin {

// One end of a network device that carries IP packets to and from this program. Failures to open it
// are std::system_error.
class Tunnel {
 public:
  // The device of that name, made before, in a network namespace of that name (see ip-netns(8)).
  // Takes this thread into the namespace; the tunnel works from everywhere.
  Tunnel(const std::string& networkNamespace, const std::string& device);
  ~Tunnel();

  Tunnel(const Tunnel&) = delete;
  Tunnel& operator=(const Tunnel&) = delete;

  int descriptor() const { return descriptor_; }

  // The next packet, in the buffer; empty when none waits.
  std::span<const std::byte> read(std::span<std::byte> buffer);
  void write(std::span<const std::byte> packet);

 private:
  int descriptor_ = -1;
};

}  // namespace tovalin
