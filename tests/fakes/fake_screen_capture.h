#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/screen_capture.h"

namespace tovalin::fake {

// A picture of one colour, told apart by its number.
class FakePixelBuffer : public PixelBuffer {
 public:
  explicit FakePixelBuffer(uint64_t number = 1, int width = 16, int height = 8)
      : number_(number),
        width_(width),
        height_(height),
        bytes_(size_t{4} * static_cast<size_t>(width * height), static_cast<uint8_t>(number)),
        damage_{{0, height}} {}

  int width() const override { return width_; }
  int height() const override { return height_; }
  int stride() const override { return 4 * width_; }
  const uint8_t* data() const override { return bytes_.data(); }
  uint64_t streamIdentity() const override { return 1; }
  uint64_t pictureNumber() const override { return number_; }
  std::span<const RowBand> damage() const override { return damage_; }

 private:
  uint64_t number_;
  int width_;
  int height_;
  std::vector<uint8_t> bytes_;
  std::vector<RowBand> damage_;
};

// A screen sample with a picture, as fresh ones come.
inline CaptureSample completeSample(PixelBufferRef picture) {
  return {SampleType::screen, true, static_cast<int>(FrameStatus::complete), std::move(picture)};
}

// A screen sample without news.
inline CaptureSample idleSample() {
  return {SampleType::screen, true, static_cast<int>(FrameStatus::idle), nullptr};
}

// A screen capture directed by the test. Completions come at once on the caller's thread, or,
// when `deferred`, one by one as the test (any thread of it) asks for them. Whether a step fails
// is settled when it completes.
class FakeScreenCapture : public ScreenCapture {
 public:
  // What became of one stream; outlives it.
  struct Record {
    CaptureConfiguration configuration;
    std::weak_ptr<CaptureStreamOutput> output;
    int starts = 0;
    int stops = 0;       // asked for
    bool live = false;   // start completed, stop not yet, not destroyed
    bool exists = true;  // not destroyed
  };

  // Set these from the test's thread, before what they are to bear on.
  std::vector<CaptureDisplay> displays = {{1, 1920, 1080}};
  DisplayId main = 1;
  bool deferred = false;
  // Not empty: the step fails with it.
  std::string failContent;
  std::string failMakeStream;
  std::string failStart;
  std::string failStop;

  void shareableContent(ContentCompletion completion) override {
    {
      std::lock_guard lock(mutex_);
      ++contentQueries_;
    }
    complete([this, completion = std::move(completion)] {
      if (failContent.empty()) {
        completion(ShareableContent{displays});
      } else {
        completion(Error{failContent});
      }
    });
  }

  DisplayId mainDisplay() const override { return main; }

  std::variant<std::shared_ptr<CaptureStream>, Error> makeStream(
      const CaptureConfiguration& configuration,
      std::weak_ptr<CaptureStreamOutput> output) override {
    if (!failMakeStream.empty()) return Error{failMakeStream};
    std::lock_guard lock(mutex_);
    records_.push_back(std::make_shared<Record>());
    records_.back()->configuration = configuration;
    records_.back()->output = std::move(output);
    return std::make_shared<Stream>(*this, records_.back());
  }

  // Gives the oldest pending completion; false when there is none.
  bool completeNext() {
    std::function<void()> next;
    {
      std::lock_guard lock(mutex_);
      if (pending_.empty()) return false;
      next = std::move(pending_.front());
      pending_.pop_front();
    }
    next();
    return true;
  }

  // Gives every pending completion, and those that this brings about.
  void completeAll() {
    while (completeNext()) {
    }
  }

  size_t pending() const {
    std::lock_guard lock(mutex_);
    return pending_.size();
  }

  // Reports the sample on this thread as the newest live stream's; false when none is live.
  bool deliver(const CaptureSample& sample) {
    const auto output = liveOutput();
    if (output) output->didOutputSample(sample);
    return output != nullptr;
  }

  // A fresh picture, complete.
  bool deliver(PixelBufferRef picture) { return deliver(completeSample(std::move(picture))); }

  // The newest live stream ends by itself; false when none is live.
  bool die(const std::string& error) {
    const auto output = liveOutput(true);
    if (output) output->didStopWithError({error});
    return output != nullptr;
  }

  int contentQueries() const {
    std::lock_guard lock(mutex_);
    return contentQueries_;
  }

  // Every stream ever made, oldest first.
  std::vector<Record> streams() const {
    std::lock_guard lock(mutex_);
    std::vector<Record> all;
    for (const auto& record : records_) all.push_back(*record);
    return all;
  }

  long liveStreams() const {
    const auto all = streams();
    return std::count_if(all.begin(), all.end(), [](const auto& record) { return record.live; });
  }

 private:
  class Stream : public CaptureStream {
   public:
    Stream(FakeScreenCapture& capture, std::shared_ptr<Record> record)
        : capture_(capture), record_(std::move(record)) {}

    ~Stream() override {
      std::lock_guard lock(capture_.mutex_);
      record_->live = record_->exists = false;
    }

    void startCapture(Completion completion) override {
      capture_.finish(&Record::starts, record_, capture_.failStart, true, std::move(completion));
    }
    void stopCapture(Completion completion) override {
      capture_.finish(&Record::stops, record_, capture_.failStop, false, std::move(completion));
    }

   private:
    FakeScreenCapture& capture_;
    std::shared_ptr<Record> record_;
  };

  void finish(int Record::*count, const std::shared_ptr<Record>& record, const std::string& failure,
              bool liveAfter, CaptureStream::Completion completion) {
    {
      std::lock_guard lock(mutex_);
      ++((*record).*count);
    }
    complete([this, record, &failure, liveAfter, completion = std::move(completion)] {
      if (!failure.empty()) return completion(Error{failure});
      {
        std::lock_guard lock(mutex_);
        record->live = liveAfter && record->exists;
      }
      completion(std::nullopt);
    });
  }

  void complete(std::function<void()> completion) {
    if (!deferred) return completion();
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(completion));
  }

  std::shared_ptr<CaptureStreamOutput> liveOutput(bool thenDead = false) {
    std::lock_guard lock(mutex_);
    for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
      if (!(*record)->live) continue;
      if (thenDead) (*record)->live = false;
      return (*record)->output.lock();
    }
    return nullptr;
  }

  mutable std::mutex mutex_;
  int contentQueries_ = 0;
  std::vector<std::shared_ptr<Record>> records_;
  std::deque<std::function<void()>> pending_;
};

}  // namespace tovalin::fake
