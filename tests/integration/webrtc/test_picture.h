#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/pixel_buffer.h"

namespace tovalin {

struct Colour {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 0;

  bool operator==(const Colour&) const = default;
};

constexpr Colour kRed{220, 30, 20};
constexpr Colour kGreen{20, 200, 40};
constexpr Colour kBlue{30, 40, 230};
constexpr Colour kWhite{245, 245, 245};
constexpr Colour kOrange{250, 150, 20};

// A picture in plain memory. Rows are padded, as those of a screen grab may be.
class TestPicture final : public PixelBuffer {
 public:
  TestPicture(int width, int height, uint64_t stream = 1, uint64_t number = 1)
      : width_(width),
        height_(height),
        stream_(stream),
        number_(number),
        bytes_(static_cast<size_t>(stride()) * static_cast<size_t>(height)) {}

  int width() const override { return width_; }
  int height() const override { return height_; }
  int stride() const override { return 4 * width_ + 32; }
  const uint8_t* data() const override { return bytes_.data(); }
  uint64_t streamIdentity() const override { return stream_; }
  uint64_t pictureNumber() const override { return number_; }
  std::span<const RowBand> damage() const override { return damage_; }
  PictureTimes times() const override { return times_; }

  void fill(int left, int top, int right, int bottom, Colour colour) {
    for (int y = top; y < bottom; ++y) {
      for (int x = left; x < right; ++x) {
        uint8_t* pixel = &bytes_[static_cast<size_t>(y) * static_cast<size_t>(stride()) +
                                 4 * static_cast<size_t>(x)];
        pixel[0] = colour.blue;
        pixel[1] = colour.green;
        pixel[2] = colour.red;
        pixel[3] = 0;
      }
    }
  }

  // A capture that needs the memory: whatever has been given up is gone.
  void takeBackIfGivenUp() { takenBack_ = givenUp_; }
  bool givenUp() const { return givenUp_; }

  void giveUp() const override { givenUp_ = true; }

  void setTimes(PictureTimes times) { times_ = times; }
  void setDamage(std::vector<RowBand> damage) { damage_ = std::move(damage); }

  // The next picture of the stream: the same pixels so far, nothing damaged.
  std::shared_ptr<TestPicture> next() const {
    auto successor = std::make_shared<TestPicture>(*this);
    successor->number_ += 1;
    successor->damage_.clear();
    successor->givenUp_ = successor->takenBack_ = false;
    return successor;
  }

 private:
  bool pin() const override { return !takenBack_; }

  int width_;
  int height_;
  uint64_t stream_;
  uint64_t number_;
  std::vector<RowBand> damage_;
  PictureTimes times_;
  std::vector<uint8_t> bytes_;
  mutable bool givenUp_ = false;
  bool takenBack_ = false;
};

// Red and green above, blue and white below.
inline std::shared_ptr<TestPicture> fourQuarters(int width, int height, uint64_t stream = 1) {
  auto picture = std::make_shared<TestPicture>(width, height, stream);
  picture->fill(0, 0, width / 2, height / 2, kRed);
  picture->fill(width / 2, 0, width, height / 2, kGreen);
  picture->fill(0, height / 2, width / 2, height, kBlue);
  picture->fill(width / 2, height / 2, width, height, kWhite);
  return picture;
}

}  // namespace tovalin
