// The host's own work on one picture and one message, without a desktop or a network. "allocs" is
// what one round takes from the heap.

#include <benchmark/benchmark.h>
#include <vpx/vp8cx.h>
#include <vpx/vpx_encoder.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>
#include <vector>

#include "bench/counted_heap.h"
#include "input/input_injector.h"
#include "platform/linux/virtual_keys.h"
#include "platform/webrtc/picture_converter.h"
#include "platform/webrtc/picture_patch.h"
#include "platform/webrtc/shown_picture.h"
#include "platform/webrtc/written_frame.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_text.h"
#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {
namespace {

// Counts what the heap gives from here on, and reports it a round.
class Allocations {
 public:
  explicit Allocations(benchmark::State& state) : state_(state), before_(allocationsSoFar()) {}
  ~Allocations() {
    state_.counters["allocs"] = benchmark::Counter(
        static_cast<double>(allocationsSoFar() - before_), benchmark::Counter::kAvgIterations);
  }
  Allocations(const Allocations&) = delete;
  Allocations& operator=(const Allocations&) = delete;

 private:
  benchmark::State& state_;
  const int64_t before_;
};

// A screen of 1920x1080 on which the same rows change again and again.
class Screen final : public PixelBuffer {
 public:
  explicit Screen(int changingRows) : damage_{{0, changingRows}} {}

  int width() const override { return 1920; }
  int height() const override { return 1080; }
  int stride() const override { return 4 * width(); }
  const uint8_t* data() const override { return pixels_.data(); }
  uint64_t streamIdentity() const override { return 1; }
  uint64_t pictureNumber() const override { return number_; }
  std::span<const RowBand> damage() const override { return damage_; }

  void change() { ++number_; }

 private:
  uint64_t number_ = 1;
  const std::vector<RowBand> damage_;
  const std::vector<uint8_t> pixels_ = std::vector<uint8_t>(1920 * 1080 * 4, 0x80);
};

void convertChangedRows(benchmark::State& state) {
  Screen screen(static_cast<int>(state.range(0)));
  PictureConverter converter;
  for (int i = 0; i < 64; ++i) {  // until the history of changes has its full length
    converter.convert(screen);
    screen.change();
  }
  const Allocations counted(state);
  for (auto _ : state) {
    screen.change();
    benchmark::DoNotOptimize(converter.convert(screen));
  }
}
BENCHMARK(convertChangedRows)->ArgName("rows")->Arg(17)->Arg(270)->Arg(1080);

void convertTheSamePictureAgain(benchmark::State& state) {
  const Screen screen(1080);
  PictureConverter converter;
  converter.convert(screen);
  const Allocations counted(state);
  for (auto _ : state) benchmark::DoNotOptimize(converter.convert(screen));
}
BENCHMARK(convertTheSamePictureAgain);

class NoEvents final : public InputEvents {
 public:
  DisplayId mainDisplay() const override { return 1; }
  Rect bounds(DisplayId) const override { return {0, 0, 1920, 1080}; }
  void post(const MouseEvent&) override {}
  void post(const KeyboardEvent&) override {}
  void post(const ScrollEvent&) override {}
  void settle() override {}
};

// A whole screen of text that scrolls up and down by a line.
class ScrollingText {
 public:
  ScrollingText() {
    below_.write();
    above_ = below_;
    above_.scroll(above_.all(), kLine);
    shown_.changes(1920, 1080, above_.rows());
    shown_.sent(above_.view());
  }

  const ScrollSearch::Found* scroll() {
    std::swap(above_, below_);
    shown_.changes(1920, 1080, above_.rows());
    return shown_.scrolled(above_.view());
  }
  void isSent() { shown_.sent(above_.view()); }

 private:
  static constexpr int kLine = 19;

  ScrollingScreen above_{1920, 1080};
  ScrollingScreen below_{1920, 1080};
  ShownPicture shown_;
};

void findWhatHasScrolled(benchmark::State& state) {
  ScrollingText text;
  const Allocations counted(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.scroll());
    text.isSent();
  }
}
BENCHMARK(findWhatHasScrolled);

void writeAMove(benchmark::State& state) {
  ScrollingText text;
  const auto move = text.scroll()->move;
  std::vector<uint8_t> frame;
  FrameWriter writer;
  writer.move({1920, 1080, 1, 15}, move, frame);
  const Allocations counted(state);
  for (auto _ : state) writer.move({1920, 1080, 1, 15}, move, frame);
  state.counters["bytes"] = static_cast<double>(frame.size());
}
BENCHMARK(writeAMove);

// A screen of text of which some rows change, patched again and again.
class PatchedText {
 public:
  explicit PatchedText(int rows) : rows_{512, 512 + rows} {
    vpx_codec_enc_cfg_t settings;
    vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &settings, 0);
    settings.g_w = kKind.width;
    settings.g_h = kKind.height;
    vpx_codec_enc_init(&libvpx_, vpx_codec_vp8_cx(), &settings, 0);
    before_.write();
    after_ = before_;
    after_.write({0, rows_.top, after_.view().width, rows_.bottom});
    reference_.fetch(&libvpx_, kKind.width, kKind.height);
    patch_.code(before_.view(), {before_.rows(), nullptr, Fineness::quick, kAnyBytes, true},
                reference_);
    patch();
  }
  ~PatchedText() { vpx_codec_destroy(&libvpx_); }
  PatchedText(const PatchedText&) = delete;
  PatchedText& operator=(const PatchedText&) = delete;

  void patch() {
    std::swap(before_, after_);
    patch_.code(before_.view(), {rows_, nullptr, Fineness::quick, kAnyBytes, false}, reference_);
    writer_.patch(kKind, nullptr, patch_.blocks(), frame_);
  }
  size_t bytes() const { return frame_.size(); }

 private:
  static constexpr WrittenFrameKind kKind{1920, 1080, 1, 15};
  static constexpr size_t kAnyBytes = size_t{1} << 30;

  const RowBand rows_;
  vpx_codec_ctx_t libvpx_{};
  ScrollingScreen before_{1920, 1080};
  ScrollingScreen after_{1920, 1080};
  ReferencePicture reference_;
  PicturePatch patch_;
  FrameWriter writer_;
  std::vector<uint8_t> frame_;
};

void patchRows(benchmark::State& state) {
  PatchedText text(static_cast<int>(state.range(0)));
  text.patch();
  const Allocations counted(state);
  for (auto _ : state) text.patch();
  state.counters["bytes"] = static_cast<double>(text.bytes());
}
BENCHMARK(patchRows)->ArgName("rows")->Arg(0)->Arg(16)->Arg(32)->Arg(128);

void handleMessage(benchmark::State& state, const char* message) {
  fake::FakeMainQueue queue;
  NoEvents events;
  fake::FakeTextSegmenter segmenter;
  fake::FakePermissions permissions;
  fake::FakePower power;
  const auto injector = InputInjector::create(queue, events, segmenter, permissions, power);
  const Allocations counted(state);
  for (auto _ : state) injector->handle(nlohmann::json::parse(message));
}
BENCHMARK_CAPTURE(handleMessage, move, R"({"t":"m","x":0.4711,"y":0.2222})");
BENCHMARK_CAPTURE(handleMessage, press, R"({"t":"p","b":0})");
BENCHMARK_CAPTURE(handleMessage, key, R"({"t":"key","c":0,"d":true,"f":262144})");
BENCHMARK_CAPTURE(handleMessage, text, R"({"t":"k","s":"a"})");

void mapKey(benchmark::State& state) {
  uint16_t code = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(evdevCode(code));
    code = (code + 1) % 128;
  }
}
BENCHMARK(mapKey);

}  // namespace
}  // namespace tovalin

BENCHMARK_MAIN();
