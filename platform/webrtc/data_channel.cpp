#include "platform/webrtc/data_channel.h"

#include <span>
#include <utility>

namespace tovalin {
namespace {

DataChannelState portState(webrtc::DataChannelInterface::DataState state) {
  using Native = webrtc::DataChannelInterface;
  static_assert(int{Native::kConnecting} == static_cast<int>(DataChannelState::connecting));
  static_assert(int{Native::kOpen} == static_cast<int>(DataChannelState::open));
  static_assert(int{Native::kClosing} == static_cast<int>(DataChannelState::closing));
  static_assert(int{Native::kClosed} == static_cast<int>(DataChannelState::closed));
  return static_cast<DataChannelState>(state);
}

}  // namespace

// What the library calls. Separate from the channel, because the library may be in the midst of
// a call when the channel goes. Used on the signalling thread only.
class WebRtcDataChannel::Listener final : public webrtc::DataChannelObserver {
 public:
  void OnStateChange() override {
    tell([](RtcDataChannelObserver& observer, RtcDataChannel& channel) {
      observer.dataChannelStateChanged(channel);
    });
  }

  void OnMessage(const webrtc::DataBuffer& message) override {
    if (deaf) return;
    tell([&](RtcDataChannelObserver& observer, RtcDataChannel& channel) {
      const std::span bytes(message.data.cdata(), message.size());
      observer.dataChannelReceived(channel, bytes, message.binary);
    });
  }

  std::weak_ptr<WebRtcDataChannel> owner;
  std::weak_ptr<RtcDataChannelObserver> listening;
  bool registered = false;
  bool deaf = false;

 private:
  template <typename Message>
  void tell(Message message) {
    const auto channel = owner.lock();
    const auto observer = listening.lock();
    if (channel && observer) message(*observer, *channel);
  }
};

std::shared_ptr<WebRtcDataChannel> WebRtcDataChannel::wrap(
    std::shared_ptr<RtcEngine> engine, rtc::scoped_refptr<webrtc::DataChannelInterface> native) {
  std::shared_ptr<WebRtcDataChannel> channel(
      new WebRtcDataChannel(std::move(engine), std::move(native)));
  channel->listener_->owner = channel;
  return channel;
}

WebRtcDataChannel::WebRtcDataChannel(std::shared_ptr<RtcEngine> engine,
                                     rtc::scoped_refptr<webrtc::DataChannelInterface> native)
    : engine_(std::move(engine)),
      native_(std::move(native)),
      listener_(std::make_shared<Listener>()) {}

WebRtcDataChannel::~WebRtcDataChannel() {
  // Posted even from the signalling thread: the library does not bear an observer that leaves
  // while it is being called.
  engine_->postSignaling([native = native_, listener = listener_] {
    if (listener->registered) native->UnregisterObserver();
  });
}

std::string WebRtcDataChannel::label() const {
  return native_->label();
}

DataChannelState WebRtcDataChannel::readyState() const {
  return portState(native_->state());
}

void WebRtcDataChannel::setObserver(std::weak_ptr<RtcDataChannelObserver> observer) {
  engine_->callSignaling([&] {
    listener_->listening = std::move(observer);
    if (std::exchange(listener_->registered, true)) return;
    native_->RegisterObserver(listener_.get());
  });
}

void WebRtcDataChannel::close() {
  engine_->callSignaling([this] {
    listener_->deaf = true;
    native_->Close();
  });
}

void WebRtcDataChannel::fallSilent() {
  listener_->listening.reset();
}

}  // namespace tovalin
