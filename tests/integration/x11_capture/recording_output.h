#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/screen_capture.h"

namespace tovalin::test {

// A picture's pixel as 0xRRGGBB.
uint32_t pixelAt(const PixelBuffer& picture, int x, int y);

// What a stream delivers, kept for the test to look at; the waits end after a bound far beyond
// what a busy machine needs, and say whether the event came.
class RecordingOutput : public CaptureStreamOutput {
 public:
  struct Sample {
    FrameStatus status;
    std::chrono::steady_clock::time_point when;
    std::string thread;
    uint64_t streamIdentity = 0;
    uint64_t pictureNumber = 0;
    std::vector<RowBand> damage;
    const uint8_t* pixels = nullptr;  // where they are, to tell buffers apart
  };

  // Holds every picture from now on, as a consumer that is behind does.
  void holdPictures();
  // Gives every picture up from now on, as a consumer does that has made its copy.
  void giveUpPictures();
  // Lets go of the oldest held picture, or of all.
  void releaseOne();
  void releaseAll();

  bool waitFor(const std::function<bool()>& condition);
  bool waitForSamples(FrameStatus status, size_t count);
  // Looks at the newest picture, unless its pixels are gone, and at each that comes.
  bool waitForPicture(const std::function<bool(const PixelBuffer&)>& wanted);
  bool waitForError();

  std::vector<Sample> samples() const;
  size_t count(FrameStatus status) const;
  // Of the newest picture.
  std::vector<RowBand> newestDamage() const;
  // The newest picture; null before the first.
  PixelBufferRef picture() const;
  std::vector<Error> errors() const;
  // How many times a picture differed from the one before in a row that its damage left out, or
  // had a number that does not follow.
  int brokenPromises() const;

  void didOutputSample(const CaptureSample& sample) override;
  void didStopWithError(const Error& error) override;

 private:
  void checkPromises(const PixelBuffer& picture);
  size_t countLocked(FrameStatus status) const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Sample> samples_;
  std::vector<Error> errors_;
  PixelBufferRef picture_;
  bool holding_ = false;
  bool givingUp_ = false;
  std::vector<PixelBufferRef> held_;
  std::vector<uint8_t> copy_;  // kept up to date by damage alone
  uint64_t copyNumber_ = 0;
  int brokenPromises_ = 0;
};

}  // namespace tovalin::test
