#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/rtc.h"
#include "tests/integration/webrtc/noticeboard.h"
#include "tests/integration/webrtc/test_picture.h"

namespace tovalin {

// What the viewer sees: the newest decoded picture.
struct SeenPicture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bgra;  // rows without padding

  Colour at(int x, int y) const;
  // Whether the pixel is that colour, but for what the encoder loses.
  bool shows(int x, int y, Colour colour) const;
};

// Everything a viewer notices; read and awaited on the noticeboard.
struct ViewerNotes {
  SeenPicture picture;
  int pictures = 0;
  int keyFrames = 0;
  // Of encoded pictures; -1 when one carried none.
  std::vector<int> minPlayoutDelaysMs;
  std::vector<int> maxPlayoutDelaysMs;
  std::string trackId;
  std::vector<std::string> streamIds;
  std::vector<std::string> channels;   // opened by the host
  std::set<std::string> openChannels;  // of either side
  bool connected = false;
  bool disconnected = false;
  std::vector<IceCandidate> candidates;  // not yet taken
};

// The other end of a visit, built on the library itself: decodes pictures and sends input. It may
// use the loopback interface.
class ViewerPeer {
 public:
  explicit ViewerPeer(Noticeboard& board);
  ~ViewerPeer();

  // Empty when the offer is refused.
  std::string answer(const std::string& offer);
  void addCandidate(const IceCandidate& candidate);
  std::vector<IceCandidate> takeCandidates();

  void openChannel(const std::string& label);
  // On a channel opened by either side; false when there is no such channel open.
  bool send(const std::string& label, const std::vector<uint8_t>& message, bool binary);

  // As after a loss. Once the host's track has come.
  void askForKeyFrame();

  // Guarded by the noticeboard.
  const ViewerNotes& notes() const;

 private:
  class Connection;
  const std::unique_ptr<Connection> connection_;
};

}  // namespace tovalin
