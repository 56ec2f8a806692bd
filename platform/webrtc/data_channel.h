#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/data_channel_interface.h>
#include <api/scoped_refptr.h>

#include <memory>
#include <string>

#include "platform/rtc.h"
#include "platform/webrtc/rtc_engine.h"

namespace tovalin {

// A data channel of the library. Messages that come before the first observer is set wait inside
// the library for it.
class WebRtcDataChannel final : public RtcDataChannel {
 public:
  static std::shared_ptr<WebRtcDataChannel> wrap(
      std::shared_ptr<RtcEngine> engine, rtc::scoped_refptr<webrtc::DataChannelInterface> native);
  ~WebRtcDataChannel() override;

  std::string label() const override;
  DataChannelState readyState() const override;
  void setObserver(std::weak_ptr<RtcDataChannelObserver> observer) override;
  void close() override;

  // From now on the observer hears nothing at all. Signalling thread only.
  void fallSilent();

 private:
  class Listener;

  WebRtcDataChannel(std::shared_ptr<RtcEngine> engine,
                    rtc::scoped_refptr<webrtc::DataChannelInterface> native);

  const std::shared_ptr<RtcEngine> engine_;
  const rtc::scoped_refptr<webrtc::DataChannelInterface> native_;
  const std::shared_ptr<Listener> listener_;
};

}  // namespace tovalin
