#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tovalin {

// How much of the video's bitrate the encoder gets, where frames go out beside its own. On what is
// left over, what waits to be sent can become less: the library sends a screencast at its bitrate
// and no faster, so that an encoder that uses all of it never lets a queue run empty, and every
// picture is as old as the queue is long, up to two seconds. Pure arithmetic; not thread-safe.
class EncoderShare {
 public:
  // Of a bitrate, in bits a second: ten per cent remain.
  static constexpr double kMost = 0.9;
  // Frames beside the encoder's own never take more than half.
  static constexpr double kLeast = 0.5;
  // Over so long what they take is averaged, in seconds.
  static constexpr double kWindow = 1.0;
  // In seconds: two or three pictures, which is hardly noticed.
  static constexpr double kLongestQueue = 0.1;
  // A new share is worth telling when it differs by so much of the old one.
  static constexpr double kWorthTelling = 0.05;

  // What the video may take from now on.
  void bitrate(uint32_t bitsPerSecond) { bitrate_ = bitsPerSecond; }

  // A frame of the encoder's, at this time in 90ths of a millisecond, which may wrap.
  void encoded(uint32_t time, std::size_t bytes) {
    pass(time);
    queue_ += 8.0 * static_cast<double>(bytes);
  }
  // A frame beside the encoder's.
  void beside(uint32_t time, std::size_t bytes) {
    encoded(time, bytes);
    bits_ += 8.0 * static_cast<double>(bytes);
  }
  // It is that time now.
  void pass(uint32_t time) {
    const auto ticks = static_cast<int32_t>(time - time_.value_or(time));
    if (time_ && ticks <= 0) return;
    const double seconds = static_cast<double>(ticks) / 90'000;
    bits_ *= std::max(0.0, 1 - seconds / kWindow);
    queue_ = std::max(0.0, queue_ - seconds * kMost * bitrate_);
    time_ = time;
  }

  // How large a frame beside the encoder's may be now, in bytes, so that nothing waits longer than
  // that to be sent.
  std::size_t room() const {
    return static_cast<std::size_t>(std::max(0.0, bitrate_ * kLongestQueue - queue_) / 8);
  }

  // How large such a frame may be of which as large ones follow: what is beyond that, an encoder
  // makes coarser by itself, little by little.
  std::size_t roomForOneOfMany() const {
    constexpr double kPicturesASecond = 30;
    return std::min(room(), static_cast<std::size_t>(bitrate_ * kMost / kPicturesASecond / 8));
  }

  // Whether what was told last is no longer right.
  bool isNews() const {
    const double now = share();
    return now < told_ * (1 - kWorthTelling) || now > told_ * (1 + kWorthTelling);
  }
  // In bits a second.
  uint32_t tell() {
    told_ = share();
    return static_cast<uint32_t>(told_);
  }

 private:
  double share() const {
    const double all = bitrate_;
    return std::max(all * kLeast, all * kMost - bits_ / kWindow);
  }

  double bitrate_ = 0;
  double queue_ = 0;  // bits, of all frames
  double bits_ = 0;   // beside the encoder's, the older the less of them
  double told_ = 0;
  std::optional<uint32_t> time_;
};

}  // namespace tovalin
