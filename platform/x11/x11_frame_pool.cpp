#include "platform/x11/x11_frame_pool.h"

#include <algorithm>
#include <utility>

namespace tovalin {
namespace {

uint64_t nextStreamIdentity() {
  static std::atomic<uint64_t> last{0};
  return ++last;
}

}  // namespace

// One lent buffer, in the consumers' hands. Outlives the loan when it has been given up.
class FramePool::Picture : public PixelBuffer {
 public:
  Picture(const PooledFrame& frame, std::shared_ptr<Returns> returns, uint64_t streamIdentity,
          uint64_t pictureNumber, const BandSet& damage, PictureTimes times)
      : memory_(frame.memory),
        canvas_(frame.canvas),
        returns_(std::move(returns)),
        streamIdentity_(streamIdentity),
        pictureNumber_(pictureNumber),
        damage_(damage),
        times_(times),
        loan_(memory_->loan.lend()) {}

  ~Picture() override { Picture::giveUp(); }

  int width() const override { return canvas_.width; }
  int height() const override { return canvas_.height; }
  int stride() const override { return canvas_.stride; }
  const uint8_t* data() const override { return canvas_.data; }
  uint64_t streamIdentity() const override { return streamIdentity_; }
  uint64_t pictureNumber() const override { return pictureNumber_; }
  std::span<const RowBand> damage() const override { return damage_.bands(); }
  PictureTimes times() const override { return times_; }

  void giveUp() const override {
    if (memory_->loan.giveUp(loan_)) returns_->noteFree();
  }

 private:
  bool pin() const override { return memory_->loan.beginReading(loan_); }
  void unpin() const override {
    if (memory_->loan.endReading()) returns_->noteFree();
  }

  std::shared_ptr<FrameMemory> memory_;
  PixelCanvas canvas_;
  std::shared_ptr<Returns> returns_;
  uint64_t streamIdentity_;
  uint64_t pictureNumber_;
  BandSet damage_;
  PictureTimes times_;
  FrameLoan::Number loan_;
};

FramePool::FramePool(int width, int height, int depth, std::shared_ptr<CaptureWake> wake,
                     Allocate allocate)
    : width_(width),
      height_(height),
      depth_(static_cast<size_t>(depth)),
      allocate_(std::move(allocate)),
      returns_(std::make_shared<Returns>()),
      streamIdentity_(nextStreamIdentity()) {
  returns_->wake = std::move(wake);
}

FramePool::~FramePool() = default;

bool FramePool::prepare() {
  return addFrame() != nullptr;
}

PooledFrame* FramePool::take() {
  PooledFrame* frame = takeFree();
  if (frame == nullptr) {
    returns_->awaited = true;
    frame = takeFree();
    if (frame == nullptr) return nullptr;
    returns_->awaited = false;
  }
  frame->covered.restore(frame->canvas);
  return frame;
}

PooledFrame* FramePool::takeFree() {
  while (true) {
    size_t out = 0;
    PooledFrame* best = nullptr;
    for (const auto& frame : frames_) {
      if (!frame->memory->loan.free()) {
        ++out;
      } else if (best == nullptr || frame->stale.rows() < best->stale.rows()) {
        best = frame.get();
      }
    }
    if (out >= depth_) return nullptr;
    if (best == nullptr) return addFrame();
    // Unless somebody has just begun to read it: it is out then.
    if (best->memory->loan.takeBack()) return best;
  }
}

PooledFrame* FramePool::addFrame() {
  auto memory = allocate_();
  if (memory == nullptr) return nullptr;
  auto frame = std::make_unique<PooledFrame>();
  frame->canvas = {memory->data(), width_ * 4, width_, height_};
  frame->memory = std::move(memory);
  frame->stale.add({0, height_});
  return frames_.emplace_back(std::move(frame)).get();
}

void FramePool::markStale(const BandSet& rows) {
  for (const auto& frame : frames_) frame->stale.add(rows);
}

PixelBufferRef FramePool::lend(PooledFrame& frame, const BandSet& damage, PictureTimes times) {
  frame.passedOver = 0;
  for (const auto& other : frames_) {
    if (other.get() != &frame) passOver(*other);
  }
  return std::make_shared<Picture>(frame, returns_, streamIdentity_, ++pictureNumber_, damage,
                                   times);
}

void FramePool::passOver(PooledFrame& frame) {
  if (++frame.passedOver < kPassedOver || !frame.memory->loan.takeBack()) return;
  frame.passedOver = 0;
  frame.covered.forget();
  frame.stale.add({0, height_});
  frame.memory->dropPages();
}

}  // namespace tovalin
