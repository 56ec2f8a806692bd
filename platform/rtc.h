#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/pixel_buffer.h"

namespace tovalin {

struct IceServer {
  std::vector<std::string> urls;
  std::string username;
  std::string credential;

  bool operator==(const IceServer&) const = default;
};

// Unified Plan always; everything not named here is the library's default.
struct RtcConfiguration {
  std::vector<IceServer> iceServers;
};

// Numbers are the media library's own and appear in diagnostics.
enum class IceConnectionState : int {
  fresh = 0,
  checking = 1,
  connected = 2,
  completed = 3,
  failed = 4,
  disconnected = 5,
  closed = 6,
};

enum class DataChannelState : int { connecting = 0, open = 1, closing = 2, closed = 3 };

enum class SdpType { offer, answer };

struct SessionDescription {
  SdpType type = SdpType::offer;
  std::string sdp;
};

struct IceCandidate {
  std::string candidate;
  int32_t sdpMLineIndex = 0;
  std::optional<std::string> sdpMid;

  bool operator==(const IceCandidate&) const = default;
};

class RtcDataChannel;

// Called on the media library's threads.
class RtcDataChannelObserver {
 public:
  virtual ~RtcDataChannelObserver() = default;
  virtual void dataChannelStateChanged(RtcDataChannel& channel) = 0;
  virtual void dataChannelReceived(RtcDataChannel& channel, std::span<const uint8_t> message,
                                   bool binary) = 0;
};

// Operations may be called from any thread; after close() returns no message is delivered.
class RtcDataChannel {
 public:
  virtual ~RtcDataChannel() = default;
  virtual std::string label() const = 0;
  virtual DataChannelState readyState() const = 0;
  virtual void setObserver(std::weak_ptr<RtcDataChannelObserver> observer) = 0;
  virtual void close() = 0;
};

// Called on the media library's threads.
class RtcPeerConnectionObserver {
 public:
  virtual ~RtcPeerConnectionObserver() = default;
  virtual void iceConnectionChanged(IceConnectionState state) = 0;
  virtual void iceCandidateGenerated(const IceCandidate& candidate) = 0;
  virtual void dataChannelOpened(std::shared_ptr<RtcDataChannel> channel) = 0;
};

// Takes captured pictures. A picture is dropped, never queued, when the encoder is behind.
class RtcVideoSource {
 public:
  virtual ~RtcVideoSource() = default;
  // Rotation 0, no copy, no scaling. `timestampNs` is on the monotonic media clock. Any thread.
  virtual void push(const PixelBufferRef& pixelBuffer, int64_t timestampNs) = 0;
};

class RtcVideoTrack {
 public:
  virtual ~RtcVideoTrack() = default;
};

// One connection to one viewer. Operations are called on the main thread; completions come once, on
// a library thread, or never if the connection is closed first.
class RtcPeerConnection {
 public:
  // Both empty: no offer and no reason.
  using OfferCompletion =
      std::function<void(std::optional<SessionDescription>, std::optional<Error>)>;
  using DescriptionCompletion = std::function<void(std::optional<Error>)>;  // absent: success

  virtual ~RtcPeerConnection() = default;

  virtual void addTrack(std::shared_ptr<RtcVideoTrack> track,
                        const std::vector<std::string>& streamIds) = 0;
  // Ordered and reliable. Empty when the library refuses.
  virtual std::shared_ptr<RtcDataChannel> createDataChannel(const std::string& label) = 0;
  virtual void makeOffer(OfferCompletion completion) = 0;
  // Any thread; the result is not reported.
  virtual void setLocalDescription(const SessionDescription& description) = 0;
  virtual void setRemoteDescription(const SessionDescription& description,
                                    DescriptionCompletion completion) = 0;
  // The result is not reported: the library queues or rejects it.
  virtual void addIceCandidate(const IceCandidate& candidate) = 0;
  // Final. After it returns the observer hears nothing more.
  virtual void close() = 0;
};

struct VideoCodecInfo {
  std::string name;
  std::map<std::string, std::string> parameters;

  bool operator==(const VideoCodecInfo&) const = default;
};

// A video encoder, opaque here: only the adapter that made it looks inside.
class RtcVideoEncoder {
 public:
  virtual ~RtcVideoEncoder() = default;
};

// Which encoders a peer connection may use; asked by the library on its own threads.
class RtcVideoEncoderFactory {
 public:
  virtual ~RtcVideoEncoderFactory() = default;
  virtual std::vector<VideoCodecInfo> supportedCodecs() const = 0;
  virtual std::unique_ptr<RtcVideoEncoder> createEncoder(const VideoCodecInfo& codec) = 0;
};

// Creates what a visit needs; made once per process and never released while a session lives.
// Main thread only.
class RtcPeerConnectionFactory {
 public:
  virtual ~RtcPeerConnectionFactory() = default;

  // Empty when the library refuses the configuration. `observer` is held weakly.
  virtual std::shared_ptr<RtcPeerConnection> createPeerConnection(
      const RtcConfiguration& configuration, std::weak_ptr<RtcPeerConnectionObserver> observer) = 0;
  virtual std::shared_ptr<RtcVideoSource> createVideoSource() = 0;
  virtual std::shared_ptr<RtcVideoTrack> createVideoTrack(std::shared_ptr<RtcVideoSource> source,
                                                          const std::string& trackId) = 0;
};

// The media library itself.
class RtcLibrary {
 public:
  virtual ~RtcLibrary() = default;

  // Initialises SSL support; needed once, before the first factory. Main thread.
  virtual void initializeSsl() = 0;

  // The library's own VP8 encoder: how it describes itself, and a new one. Any thread.
  virtual std::vector<VideoCodecInfo> vp8Codecs() const = 0;
  virtual std::unique_ptr<RtcVideoEncoder> makeVp8Encoder() = 0;

  // A factory that encodes with `encoders` and decodes with the library's defaults. Main thread.
  virtual std::shared_ptr<RtcPeerConnectionFactory> makeFactory(
      std::unique_ptr<RtcVideoEncoderFactory> encoders) = 0;
};

}  // namespace tovalin
