#pragma once

#include <atomic>
#include <cstdint>

namespace tovalin {

// Who may touch the pixels of one buffer: the capture thread, which writes them, or the consumers
// of the picture in it.
//
// All of it is one word: the number of the loan, whether the consumers still want the pixels, and
// how many of them are reading. Every step changes that word as a whole, from a state in which it
// is allowed, so a reader and the capture thread cannot both succeed: the buffer is taken back only
// while nobody wants or reads it, and whoever comes with the number of an earlier loan fails. What
// was read comes before the end of the reading, and that before the taking back that saw it, so
// nothing is written that somebody still reads. Sequentially consistent throughout, because the
// pool relies on the order with its flag for a capture thread that awaits a buffer.
class FrameLoan {
 public:
  using Number = uint64_t;

  // Whether the capture thread could take the buffer now.
  bool free() const { return (word_ & kInUse) == 0; }

  // Capture thread: from now on nobody can read what is there. False, and nothing has happened,
  // while somebody wants or reads it.
  bool takeBack() {
    uint64_t seen = word_;
    return (seen & kInUse) == 0 && word_.compare_exchange_strong(seen, seen + kNext);
  }

  // Capture thread, after `takeBack` or on a buffer that was never lent: the pixels are there to
  // be read.
  Number lend() {
    const uint64_t lent = (word_ & ~kInUse) | kWanted;
    word_ = lent;
    return lent / kNext;
  }

  // Any thread, any number of times: this loan's pixels are no longer wanted. True when that made
  // the buffer free.
  bool giveUp(Number loan) {
    uint64_t seen = word_;
    while (seen / kNext == loan && (seen & kWanted) != 0) {
      if (word_.compare_exchange_weak(seen, seen & ~kWanted)) return (seen & kReaders) == 0;
    }
    return false;
  }

  // Any thread. False: the buffer has been taken back. Else it is not until `endReading`.
  bool beginReading(Number loan) {
    uint64_t seen = word_;
    while (seen / kNext == loan) {
      if (word_.compare_exchange_weak(seen, seen + 1)) return true;
    }
    return false;
  }

  // True when that made the buffer free.
  bool endReading() { return ((word_.fetch_sub(1) - 1) & kInUse) == 0; }

 private:
  static constexpr uint64_t kNext = 1 << 16;
  static constexpr uint64_t kWanted = 1 << 15;
  static constexpr uint64_t kReaders = kWanted - 1;
  static constexpr uint64_t kInUse = kWanted | kReaders;

  std::atomic<uint64_t> word_{0};
};

}  // namespace tovalin
