#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/peer_connection_interface.h>
#include <api/task_queue/task_queue_factory.h>
#include <api/video_codecs/video_decoder_factory.h>
#include <api/video_codecs/video_encoder_factory.h>
#include <rtc_base/thread.h>

#include <future>
#include <memory>
#include <utility>

namespace cricket {
class SrtpSession;
}

namespace tovalin {

// The library's three threads and its factory. Whatever is made from the factory holds the engine,
// so the threads outlive it; the last holder's release joins them, on whichever thread that is.
class RtcEngine {
 public:
  static std::shared_ptr<RtcEngine> start(std::unique_ptr<webrtc::VideoEncoderFactory> encoders,
                                          std::unique_ptr<webrtc::VideoDecoderFactory> decoders);
  RtcEngine(const RtcEngine&) = delete;
  RtcEngine& operator=(const RtcEngine&) = delete;

  // Every callback of the library to its observers comes on the signalling thread.
  bool onSignalingThread() const { return signaling_->IsCurrent(); }

  // Runs `body` on the signalling thread and waits for it; at once when this is that thread, where
  // the library forbids waiting.
  template <typename Body>
  auto callSignaling(Body&& body) -> decltype(body()) {
    if (onSignalingThread()) return body();
    return signaling_->BlockingCall(std::forward<Body>(body));
  }

  // Runs `task` on the signalling thread, in posting order.
  template <typename Task>
  void postSignaling(Task&& task) {
    signaling_->PostTask(std::forward<Task>(task));
  }

  // Runs `task` on the worker thread after that time, unless the engine has ended by then.
  template <typename Task>
  void postWorker(Task&& task, webrtc::TimeDelta delay = webrtc::TimeDelta::Zero()) {
    worker_->PostDelayedTask(std::forward<Task>(task), delay);
  }

  webrtc::PeerConnectionFactoryInterface& factory() { return *factory_; }

 private:
  RtcEngine(std::unique_ptr<webrtc::VideoEncoderFactory> encoders,
            std::unique_ptr<webrtc::VideoDecoderFactory> decoders);
  ~RtcEngine();

  bool runsThisThread() const;

  std::future<std::unique_ptr<cricket::SrtpSession>> idleSrtp_;
  std::unique_ptr<webrtc::TaskQueueFactory> audioQueues_;
  std::unique_ptr<rtc::Thread> network_;
  std::unique_ptr<rtc::Thread> worker_;
  std::unique_ptr<rtc::Thread> signaling_;
  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_;
};

}  // namespace tovalin
