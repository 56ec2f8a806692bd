#include "platform/webrtc/rtc_engine.h"

#include <api/audio_codecs/builtin_audio_decoder_factory.h>
#include <api/audio_codecs/builtin_audio_encoder_factory.h>
#include <api/create_peerconnection_factory.h>
#include <api/field_trials.h>
#include <api/task_queue/default_task_queue_factory.h>
#include <modules/audio_device/include/audio_device.h>
#include <pc/srtp_session.h>
#include <pthread.h>
#include <rtc_base/ssl_stream_adapter.h>

#include <array>
#include <thread>
#include <utility>

#include "platform/fatal.h"

namespace tovalin {
namespace {

// Asks the viewer, through the playout-delay header, to show frames as they come: a desktop wants
// the click's answer now, not smoothness. Worth some 40 ms with a browser as the viewer.
constexpr char kFieldTrials[] = "WebRTC-ForceSendPlayoutDelay/min_ms:0,max_ms:0/";

// libsrtp loads its cryptography and tests it when a process makes its first session, and drops it
// with the last: 90 ms at every visit, between the handshake and the first packet. One session that
// is never used keeps it. It is made aside, while the first visit is still negotiating.
std::unique_ptr<cricket::SrtpSession> makeIdleSrtpSession() {
  pthread_setname_np(pthread_self(), "rtc-srtp");
  constexpr std::array<uint8_t, 30> kKey{};  // and salt
  auto session = std::make_unique<cricket::SrtpSession>();
  session->SetSend(rtc::kSrtpAes128CmSha1_80, kKey.data(), kKey.size(), {});
  return session;
}

std::unique_ptr<rtc::Thread> started(std::unique_ptr<rtc::Thread> thread, const char* name) {
  thread->SetName(name, nullptr);
  if (!thread->Start()) fatal("a thread of the media library cannot be started");
  return thread;
}

}  // namespace

std::shared_ptr<RtcEngine> RtcEngine::start(std::unique_ptr<webrtc::VideoEncoderFactory> encoders,
                                            std::unique_ptr<webrtc::VideoDecoderFactory> decoders) {
  auto* engine = new RtcEngine(std::move(encoders), std::move(decoders));
  return std::shared_ptr<RtcEngine>(engine, [](RtcEngine* last) {
    // A thread cannot join itself: when a callback drops the last reference, another one ends it.
    if (last->runsThisThread()) {
      std::thread([last] { delete last; }).detach();
    } else {
      delete last;
    }
  });
}

RtcEngine::RtcEngine(std::unique_ptr<webrtc::VideoEncoderFactory> encoders,
                     std::unique_ptr<webrtc::VideoDecoderFactory> decoders)
    : idleSrtp_(std::async(std::launch::async, makeIdleSrtpSession)),
      audioQueues_(webrtc::CreateDefaultTaskQueueFactory()),
      network_(started(rtc::Thread::CreateWithSocketServer(), "rtc-network")),
      worker_(started(rtc::Thread::Create(), "rtc-worker")),
      signaling_(started(rtc::Thread::Create(), "rtc-signaling")) {
  // No audio is ever added, but the library insists on a device, made and used on its worker.
  auto audioDevice = worker_->BlockingCall([this] {
    return webrtc::AudioDeviceModule::Create(webrtc::AudioDeviceModule::kDummyAudio,
                                             audioQueues_.get());
  });
  factory_ = webrtc::CreatePeerConnectionFactory(
      network_.get(), worker_.get(), signaling_.get(), std::move(audioDevice),
      webrtc::CreateBuiltinAudioEncoderFactory(), webrtc::CreateBuiltinAudioDecoderFactory(),
      std::move(encoders), std::move(decoders), nullptr, nullptr, nullptr,
      webrtc::FieldTrials::CreateNoGlobal(kFieldTrials));
  if (!factory_) fatal("the media library cannot make its factory");
}

RtcEngine::~RtcEngine() {
  // Lets the tasks that still hold objects of the library run first.
  signaling_->BlockingCall([] {});
  factory_ = nullptr;
}

bool RtcEngine::runsThisThread() const {
  return signaling_->IsCurrent() || worker_->IsCurrent() || network_->IsCurrent();
}

}  // namespace tovalin
