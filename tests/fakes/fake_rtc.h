#pragma once

// The media library without media: it remembers what was made and pushed. Any thread.

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/rtc.h"
#include "tests/fakes/fake_rtc_connection.h"

namespace tovalin::fake {

class FakeVideoSource : public RtcVideoSource {
 public:
  struct Frame {
    PixelBufferRef pixelBuffer;
    int64_t timestampNs = 0;
  };

  void push(const PixelBufferRef& pixelBuffer, int64_t timestampNs) override {
    std::lock_guard lock(mutex_);
    frames_.push_back({pixelBuffer, timestampNs});
  }

  // Every picture pushed, in order.
  std::vector<Frame> frames() const {
    std::lock_guard lock(mutex_);
    return frames_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Frame> frames_;
};

struct FakeVideoTrack : RtcVideoTrack {
  FakeVideoTrack(std::shared_ptr<RtcVideoSource> from, std::string trackId)
      : source(std::move(from)), id(std::move(trackId)) {}
  const std::shared_ptr<RtcVideoSource> source;
  const std::string id;
};

struct FakeVideoEncoder : RtcVideoEncoder {};

// The library. It outlives everything made through it; connections are kept for inspection.
class FakeRtcLibrary : public RtcLibrary {
 public:
  void initializeSsl() override { journal.note("initializeSsl"); }
  std::vector<VideoCodecInfo> vp8Codecs() const override { return codecs; }
  std::unique_ptr<RtcVideoEncoder> makeVp8Encoder() override {
    journal.note("makeVp8Encoder");
    return std::make_unique<FakeVideoEncoder>();
  }
  std::shared_ptr<RtcPeerConnectionFactory> makeFactory(
      std::unique_ptr<RtcVideoEncoderFactory> given) override {
    journal.note("makeFactory");
    encoders = std::move(given);
    return std::make_shared<Factory>(*this);
  }

  // How many connections were made so far, refused ones not counted.
  size_t connections() const {
    std::lock_guard lock(mutex_);
    return connections_.size();
  }
  // The connection of that number, from 0.
  FakePeerConnection& connection(size_t number) const {
    std::lock_guard lock(mutex_);
    return *connections_.at(number);
  }
  // The newest connection; throws when there is none.
  FakePeerConnection& latest() const {
    std::lock_guard lock(mutex_);
    return *connections_.at(connections_.size() - 1);
  }
  // The newest video source; throws when there is none.
  FakeVideoSource& latestSource() const {
    std::lock_guard lock(mutex_);
    return *sources_.at(sources_.size() - 1);
  }

  RtcJournal journal;
  bool refusesConnections = false;   // createPeerConnection returns nothing
  bool refusesDataChannels = false;  // of connections made from now on
  std::vector<VideoCodecInfo> codecs = {{"VP8", {}}};
  std::unique_ptr<RtcVideoEncoderFactory> encoders;  // given to the newest factory

 private:
  struct Factory : RtcPeerConnectionFactory {
    explicit Factory(FakeRtcLibrary& whole) : library(whole) {}
    std::shared_ptr<RtcPeerConnection> createPeerConnection(
        const RtcConfiguration& configuration,
        std::weak_ptr<RtcPeerConnectionObserver> observer) override {
      library.journal.note("createPeerConnection");
      if (library.refusesConnections) return nullptr;
      auto connection =
          std::make_shared<FakePeerConnection>(configuration, std::move(observer), library.journal);
      connection->refusesDataChannels = library.refusesDataChannels;
      std::lock_guard lock(library.mutex_);
      library.connections_.push_back(connection);
      return connection;
    }
    std::shared_ptr<RtcVideoSource> createVideoSource() override {
      library.journal.note("createVideoSource");
      auto source = std::make_shared<FakeVideoSource>();
      std::lock_guard lock(library.mutex_);
      library.sources_.push_back(source);
      return source;
    }
    std::shared_ptr<RtcVideoTrack> createVideoTrack(std::shared_ptr<RtcVideoSource> source,
                                                    const std::string& trackId) override {
      library.journal.note("createVideoTrack " + trackId);
      return std::make_shared<FakeVideoTrack>(std::move(source), trackId);
    }
    FakeRtcLibrary& library;
  };

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<FakePeerConnection>> connections_;
  std::vector<std::shared_ptr<FakeVideoSource>> sources_;
};

}  // namespace tovalin::fake
