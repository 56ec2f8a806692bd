#include "tests/integration/x11_capture/recording_output.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>

namespace tovalin::test {
namespace {

constexpr auto kBound = std::chrono::seconds(60);

}  // namespace

uint32_t pixelAt(const PixelBuffer& picture, int x, int y) {
  uint32_t word;
  std::memcpy(
      &word,
      picture.data() + static_cast<ptrdiff_t>(y) * picture.stride() + static_cast<ptrdiff_t>(x) * 4,
      sizeof word);
  return word & 0xffffff;
}

void RecordingOutput::holdPictures() {
  std::lock_guard lock(mutex_);
  holding_ = true;
  if (picture_ != nullptr) held_.push_back(picture_);
}

void RecordingOutput::giveUpPictures() {
  std::lock_guard lock(mutex_);
  givingUp_ = true;
  if (picture_ != nullptr) picture_->giveUp();
}

void RecordingOutput::releaseOne() {
  PixelBufferRef released;
  std::lock_guard lock(mutex_);
  if (held_.empty()) return;
  if (picture_ == held_.front()) picture_ = nullptr;
  released = std::move(held_.front());
  held_.erase(held_.begin());
}

void RecordingOutput::releaseAll() {
  std::lock_guard lock(mutex_);
  holding_ = false;
  held_.clear();
  picture_ = nullptr;
}

bool RecordingOutput::waitFor(const std::function<bool()>& condition) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kBound, condition);
}

bool RecordingOutput::waitForSamples(FrameStatus status, size_t count) {
  return waitFor([&] { return countLocked(status) >= count; });
}

bool RecordingOutput::waitForPicture(const std::function<bool(const PixelBuffer&)>& wanted) {
  return waitFor([&] {
    if (picture_ == nullptr) return false;
    const PixelLease lease(*picture_);
    return lease && wanted(*picture_);
  });
}

bool RecordingOutput::waitForError() {
  return waitFor([&] { return !errors_.empty(); });
}

std::vector<RecordingOutput::Sample> RecordingOutput::samples() const {
  std::lock_guard lock(mutex_);
  return samples_;
}

size_t RecordingOutput::count(FrameStatus status) const {
  std::lock_guard lock(mutex_);
  return countLocked(status);
}

std::vector<RowBand> RecordingOutput::newestDamage() const {
  std::lock_guard lock(mutex_);
  const auto newest = std::find_if(samples_.rbegin(), samples_.rend(), [](const Sample& sample) {
    return sample.status == FrameStatus::complete;
  });
  return newest != samples_.rend() ? newest->damage : std::vector<RowBand>{};
}

size_t RecordingOutput::countLocked(FrameStatus status) const {
  return static_cast<size_t>(
      std::count_if(samples_.begin(), samples_.end(),
                    [status](const Sample& sample) { return sample.status == status; }));
}

PixelBufferRef RecordingOutput::picture() const {
  std::lock_guard lock(mutex_);
  return picture_;
}

std::vector<Error> RecordingOutput::errors() const {
  std::lock_guard lock(mutex_);
  return errors_;
}

int RecordingOutput::brokenPromises() const {
  std::lock_guard lock(mutex_);
  return brokenPromises_;
}

void RecordingOutput::didOutputSample(const CaptureSample& sample) {
  std::lock_guard lock(mutex_);
  Sample record{static_cast<FrameStatus>(sample.status.value()),
                std::chrono::steady_clock::now(),
                {},
                0,
                0,
                {},
                nullptr};
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  record.thread = name;
  if (sample.image != nullptr) {
    record.streamIdentity = sample.image->streamIdentity();
    record.pictureNumber = sample.image->pictureNumber();
    const auto damage = sample.image->damage();
    record.damage.assign(damage.begin(), damage.end());
    record.pixels = sample.image->data();
    checkPromises(*sample.image);
    if (givingUp_) sample.image->giveUp();
    picture_ = sample.image;
    if (holding_) held_.push_back(sample.image);
  }
  samples_.push_back(std::move(record));
  changed_.notify_all();
}

void RecordingOutput::checkPromises(const PixelBuffer& picture) {
  const auto stride = static_cast<size_t>(picture.stride());
  const bool first = copy_.empty();
  copy_.resize(stride * static_cast<size_t>(picture.height()));
  if (!first && picture.pictureNumber() != copyNumber_ + 1) ++brokenPromises_;
  copyNumber_ = picture.pictureNumber();
  for (const RowBand band : picture.damage()) {
    std::memcpy(copy_.data() + static_cast<size_t>(band.top) * stride,
                picture.data() + static_cast<size_t>(band.top) * stride,
                static_cast<size_t>(band.bottom - band.top) * stride);
  }
  if (std::memcmp(copy_.data(), picture.data(), copy_.size()) != 0) ++brokenPromises_;
}

void RecordingOutput::didStopWithError(const Error& error) {
  std::lock_guard lock(mutex_);
  errors_.push_back(error);
  changed_.notify_all();
}

}  // namespace tovalin::test
