#pragma once

// One connection of the media library, with the test as the viewer and as the library's own
// threads: every verb calls the observer or the completion inline. All of it may be used from any
// thread. As with the real library, close() waits for a call to the observer that is under way, and
// nothing comes after it.

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/rtc.h"

namespace tovalin::fake {

// What was called on the whole library, in order ("peerConnection.close" for instance).
class RtcJournal {
 public:
  void note(std::string entry) {
    std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
  }
  std::vector<std::string> entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> entries_;
};

// Lives as long as the host, or the test, holds it: a channel that nobody holds is heard no more.
class FakeDataChannel : public RtcDataChannel {
 public:
  FakeDataChannel(std::string label, RtcJournal& journal)
      : label_(std::move(label)), journal_(journal) {}

  std::string label() const override { return label_; }
  DataChannelState readyState() const override {
    std::lock_guard lock(mutex_);
    return state_;
  }
  void setObserver(std::weak_ptr<RtcDataChannelObserver> observer) override {
    std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
  }
  void close() override {
    journal_.note("dataChannel.close " + label_);
    std::lock_guard calls(calls_);
    std::lock_guard lock(mutex_);
    state_ = DataChannelState::closed;
    observer_.reset();
  }

  // The channel changes state and says so.
  void becomes(DataChannelState state) {
    std::lock_guard calls(calls_);
    std::shared_ptr<RtcDataChannelObserver> observer;
    {
      std::lock_guard lock(mutex_);
      state_ = state;
      observer = observer_.lock();
    }
    if (observer) observer->dataChannelStateChanged(*this);
  }
  // The viewer sends a message; nobody hears it after close().
  void viewerSends(std::string_view message, bool binary = false) {
    std::lock_guard calls(calls_);
    std::shared_ptr<RtcDataChannelObserver> observer;
    {
      std::lock_guard lock(mutex_);
      observer = observer_.lock();
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(message.data());
    if (observer) observer->dataChannelReceived(*this, {bytes, message.size()}, binary);
  }

 private:
  const std::string label_;
  RtcJournal& journal_;
  std::recursive_mutex calls_;  // held while the observer is called, and by close()
  mutable std::mutex mutex_;
  DataChannelState state_ = DataChannelState::connecting;
  std::weak_ptr<RtcDataChannelObserver> observer_;
};

class FakePeerConnection : public RtcPeerConnection {
 public:
  FakePeerConnection(RtcConfiguration given, std::weak_ptr<RtcPeerConnectionObserver> observer,
                     RtcJournal& journal)
      : configuration(std::move(given)), observer_(std::move(observer)), journal_(journal) {}

  struct AddedTrack {
    std::shared_ptr<RtcVideoTrack> track;
    std::vector<std::string> streamIds;
  };

  void addTrack(std::shared_ptr<RtcVideoTrack> track,
                const std::vector<std::string>& streamIds) override {
    journal_.note("peerConnection.addTrack");
    std::lock_guard lock(mutex_);
    tracks_.push_back({std::move(track), streamIds});
  }
  std::shared_ptr<RtcDataChannel> createDataChannel(const std::string& label) override {
    journal_.note("peerConnection.createDataChannel " + label);
    if (refusesDataChannels) return nullptr;
    return addChannel(label);
  }
  void makeOffer(OfferCompletion completion) override {
    journal_.note("peerConnection.makeOffer");
    std::lock_guard lock(mutex_);
    offers_.push_back(std::move(completion));
  }
  void setLocalDescription(const SessionDescription& description) override {
    journal_.note("peerConnection.setLocalDescription");
    std::lock_guard lock(mutex_);
    localDescriptions_.push_back(description);
  }
  void setRemoteDescription(const SessionDescription& description,
                            DescriptionCompletion completion) override {
    journal_.note("peerConnection.setRemoteDescription");
    std::lock_guard lock(mutex_);
    remoteDescriptions_.push_back(description);
    answers_.push_back(std::move(completion));
  }
  void addIceCandidate(const IceCandidate& candidate) override {
    std::lock_guard lock(mutex_);
    candidates_.push_back(candidate);
  }
  void close() override {
    journal_.note("peerConnection.close");
    std::lock_guard calls(calls_);
    std::lock_guard lock(mutex_);
    closed_ = true;
    observer_.reset();
  }

  // The library has made the offer that was asked for last.
  void producesOffer(const std::string& sdp = "v=0 offer") {
    complete(offers_, SessionDescription{SdpType::offer, sdp}, std::nullopt);
  }
  // The library makes no offer, with or without a reason.
  void failsOffer(std::optional<Error> reason) { complete(offers_, std::nullopt, reason); }
  // The library applies the answer that was set last.
  void acceptsAnswer() { complete(answers_, std::nullopt); }
  void rejectsAnswer(const std::string& reason) { complete(answers_, Error{reason}); }
  void iceBecomes(IceConnectionState state) {
    std::lock_guard calls(calls_);
    if (auto observer = this->observer()) observer->iceConnectionChanged(state);
  }
  // The library has gathered a local candidate.
  void gathers(const IceCandidate& candidate) {
    std::lock_guard calls(calls_);
    if (auto observer = this->observer()) observer->iceCandidateGenerated(candidate);
  }
  // The viewer opens a channel of its own.
  std::shared_ptr<FakeDataChannel> viewerOpensChannel(const std::string& label) {
    auto channel = addChannel(label);
    std::lock_guard calls(calls_);
    if (auto observer = this->observer()) observer->dataChannelOpened(channel);
    return channel;
  }

  std::vector<AddedTrack> tracks() const { return locked(tracks_); }
  // The host's own channels and the viewer's, in order of making; those still held.
  std::vector<std::shared_ptr<FakeDataChannel>> dataChannels() const {
    std::vector<std::shared_ptr<FakeDataChannel>> held;
    for (const auto& weak : locked(channels_)) {
      if (auto channel = weak.lock()) held.push_back(std::move(channel));
    }
    return held;
  }
  std::vector<SessionDescription> localDescriptions() const { return locked(localDescriptions_); }
  std::vector<SessionDescription> remoteDescriptions() const { return locked(remoteDescriptions_); }
  std::vector<IceCandidate> candidates() const { return locked(candidates_); }
  bool isClosed() const { return locked(closed_); }

  const RtcConfiguration configuration;
  bool refusesDataChannels = false;  // set before the host asks

 private:
  template <typename T>
  T locked(const T& value) const {
    std::lock_guard lock(mutex_);
    return value;
  }

  std::shared_ptr<RtcPeerConnectionObserver> observer() const { return locked(observer_).lock(); }

  std::shared_ptr<FakeDataChannel> addChannel(const std::string& label) {
    auto channel = std::make_shared<FakeDataChannel>(label, journal_);
    std::lock_guard lock(mutex_);
    channels_.push_back(channel);
    return channel;
  }

  // Throws when the host has asked for nothing; says nothing once closed.
  template <typename Completion, typename... Results>
  void complete(std::vector<Completion>& waiting, Results... results) {
    Completion completion;
    {
      std::lock_guard lock(mutex_);
      if (closed_) return;
      completion = std::move(waiting.at(waiting.size() - 1));
      waiting.pop_back();
    }
    completion(results...);
  }

  std::recursive_mutex calls_;  // held while the observer is called, and by close()
  mutable std::mutex mutex_;
  std::weak_ptr<RtcPeerConnectionObserver> observer_;
  RtcJournal& journal_;
  std::vector<AddedTrack> tracks_;
  std::vector<std::weak_ptr<FakeDataChannel>> channels_;
  std::vector<OfferCompletion> offers_;
  std::vector<DescriptionCompletion> answers_;
  std::vector<SessionDescription> localDescriptions_;
  std::vector<SessionDescription> remoteDescriptions_;
  std::vector<IceCandidate> candidates_;
  bool closed_ = false;
};

}  // namespace tovalin::fake
