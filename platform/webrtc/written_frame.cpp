#include "platform/webrtc/written_frame.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace tovalin {
namespace {

using Probability = uint8_t;  // of a zero, in 256ths
constexpr Probability kEven = 128;
constexpr Probability kHardlyEver = 1;
constexpr Probability kNearlyAlways = 255;

// RFC 6386, 13.4: that a probability of the coefficients stays, in rows of eleven. Here a 0 ends a
// row, and what is left out of it is 255.
constexpr std::size_t kNodes = 11;
constexpr auto kCoefficientStays = std::to_array<Probability>(
    {0,   0,   0,   176, 246, 0,   223, 241, 252, 0,   249, 253, 253, 0,   255, 244, 252, 0,   234,
     254, 254, 0,   253, 0,   255, 246, 254, 0,   239, 253, 254, 0,   254, 255, 254, 0,   255, 248,
     254, 0,   251, 255, 254, 0,   0,   255, 253, 254, 0,   251, 254, 254, 0,   254, 255, 254, 0,
     255, 254, 253, 255, 254, 0,   250, 255, 254, 255, 254, 0,   254, 0,   0,   0,   0,   217, 0,
     225, 252, 241, 253, 255, 255, 254, 0,   234, 250, 241, 250, 253, 255, 253, 254, 0,   255, 254,
     0,   223, 254, 254, 0,   238, 253, 254, 254, 0,   255, 248, 254, 0,   249, 254, 0,   0,   255,
     253, 0,   247, 254, 0,   0,   255, 253, 254, 0,   252, 0,   0,   255, 254, 254, 0,   253, 0,
     0,   255, 254, 253, 0,   250, 0,   254, 0,   0,   0,   0,   186, 251, 250, 0,   234, 251, 244,
     254, 0,   251, 251, 243, 253, 254, 255, 254, 0,   255, 253, 254, 0,   236, 253, 254, 0,   251,
     253, 253, 254, 254, 0,   255, 254, 254, 0,   254, 254, 254, 0,   0,   255, 254, 0,   254, 254,
     0,   254, 0,   0,   254, 0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   248, 0,   250,
     254, 252, 254, 0,   248, 254, 249, 253, 0,   255, 253, 253, 0,   246, 253, 253, 0,   252, 254,
     251, 254, 254, 0,   255, 254, 252, 0,   248, 254, 253, 0,   253, 255, 254, 254, 0,   255, 251,
     254, 0,   245, 251, 254, 0,   253, 253, 254, 0,   255, 251, 253, 0,   252, 253, 254, 0,   255,
     254, 0,   255, 252, 0,   249, 255, 254, 0,   255, 255, 254, 0,   255, 255, 253, 0,   250, 0,
     0,   0,   254, 0,   0});
static_assert(std::ranges::count(kCoefficientStays, 0) == 4 * 8 * 3);

// RFC 6386, 17.2: that a probability of the motion vectors stays; rows, then columns.
constexpr auto kMotionStays =
    std::to_array<Probability>({237, 246, 253, 253, 254, 254, 254, 254, 254, 254, 254, 254, 254,
                                254, 250, 250, 252, 254, 254, 231, 243, 245, 253, 254, 254, 254,
                                254, 254, 254, 254, 254, 254, 254, 251, 251, 254, 254, 254});

// RFC 6386, 16.3: that a macroblock does not move; that it moves, but not as one beside it; not as
// another one beside it; that each quarter moves by itself. By how many around it stay, move in the
// same way, or in another: above and to the left count two each, the one between them one.
constexpr std::array<std::array<Probability, 4>, 6> kMotion{{{7, 1, 1, 143},
                                                             {14, 18, 14, 107},
                                                             {135, 64, 57, 68},
                                                             {60, 56, 128, 65},
                                                             {159, 134, 128, 34},
                                                             {234, 188, 128, 28}}};

// RFC 6386, 7.
class BoolEncoder {
 public:
  // Appends to them.
  explicit BoolEncoder(std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  void put(bool bit, Probability zero) {
    const uint32_t split = 1 + ((range_ - 1) * zero >> 8);
    if (bit) bottom_ += split;
    range_ = bit ? range_ - split : split;
    for (; range_ < 128; range_ *= 2) shift();
  }
  // The highest bit first.
  void number(unsigned bits, unsigned value) {
    while (bits-- > 0) put((value >> bits & 1) != 0, kEven);
  }
  void flag(bool value) { put(value, kEven); }

  // With what a decoder reads ahead.
  void finish() {
    for (int i = 0; i < 32; ++i) shift();
  }

 private:
  void shift() {
    bottom_ *= 2;
    if (++shifted_ < 8) return;
    if ((bottom_ & 0x10000) != 0) carry();
    bytes_.push_back(static_cast<uint8_t>(bottom_ >> 8));
    bottom_ &= 0xFF;
    shifted_ = 0;
  }
  // Ends before the beginning: all that is coded is less than one.
  void carry() {
    auto byte = bytes_.rbegin();
    while (++*byte == 0) ++byte;
  }

  std::vector<uint8_t>& bytes_;
  uint32_t bottom_ = 0;  // what is not yet in the bytes, and a carry
  uint32_t range_ = 255;
  int shifted_ = 0;
};

void putCoefficientProbabilities(BoolEncoder& to) {
  std::size_t given = 0;  // of the row
  for (const Probability stays : kCoefficientStays) {
    if (stays != 0) {
      to.put(false, stays);
      ++given;
      continue;
    }
    for (; given < kNodes; ++given) to.put(false, kNearlyAlways);
    given = 0;
  }
}

// RFC 6386, 9.3 to 9.11 and 19.2.
void putHeader(BoolEncoder& to, const WrittenFrameKind& kind, bool moves) {
  to.flag(false);                    // no segments
  to.flag((kind.profile & 1) != 0);  // the simple loop filter,
  to.number(6, 0);                   // at level 0, which is none,
  to.number(3, 0);                   // whatever its sharpness,
  to.flag(false);                    // and without adjustments
  to.number(2, 0);                   // one partition of coefficients
  to.number(7, kind.quantizer);
  to.number(5, 0);  // the same for all of them

  to.flag(false);  // the golden frame stays,
  to.flag(false);  // and so does the alternative one:
  to.number(2, 0);
  to.number(2, 0);  // nothing is copied to either
  to.flag(false);
  to.flag(false);  // and neither has its sign changed
  to.flag(false);  // the probabilities do not outlive this frame
  to.flag(moves);  // whether this becomes the last frame

  putCoefficientProbabilities(to);
  to.flag(true);                // macroblocks may be without coefficients
  to.number(8, kHardlyEver);    // that one has some
  to.number(8, kHardlyEver);    // that one is not from another frame
  to.number(8, kNearlyAlways);  // that the other frame is the last one
  to.number(8, kEven);          // that it else is the golden one
  to.flag(false);               // the probabilities of the modes stay, for brightness
  to.flag(false);               // and for colour
  for (const Probability stays : kMotionStays) {
    // What they are by now is not known here.
    to.put(moves, stays);
    if (moves) to.number(7, kEven / 2);
  }
}

// RFC 6386, 17.2, with even probabilities. In quarters of a pixel.
void putMotion(BoolEncoder& to, int distance) {
  constexpr unsigned kShort = 8;
  constexpr unsigned kLongBits = 10;
  constexpr unsigned kImplied = 3;  // the bit that is 1 where there is none above it
  const auto size = static_cast<unsigned>(std::abs(distance));
  to.flag(size >= kShort);
  if (size < kShort) {
    to.number(3, size);
  } else {
    const auto bit = [&](unsigned at) { to.flag((size >> at & 1) != 0); };
    for (unsigned at = 0; at < kImplied; ++at) bit(at);
    for (unsigned at = kLongBits - 1; at > kImplied; --at) bit(at);
    if (size >> (kImplied + 1) != 0) bit(kImplied);
  }
  if (size != 0) to.flag(distance < 0);
}

// What is known of those above and to the left.
struct Around {
  std::size_t staying = 0;
  std::size_t moving = 0;
};

// RFC 6386, 19.3 and 16.3.
void putMacroblock(BoolEncoder& to, const Around& around, int from) {
  to.put(true, kHardlyEver);     // no coefficients
  to.put(true, kHardlyEver);     // from another frame,
  to.put(false, kNearlyAlways);  // the last one,
  to.put(from != 0, kMotion[around.staying][0]);
  if (from == 0) return;
  to.put(around.moving == 0, kMotion[around.moving][1]);
  if (around.moving != 0) return;
  to.put(true, kMotion[0][2]);
  to.put(false, kMotion[0][3]);
  constexpr int kQuarters = 4;
  putMotion(to, from * kQuarters);
  putMotion(to, 0);
}

// Null: nothing moves.
void write(const WrittenFrameKind& kind, const BlockMove* move, std::vector<uint8_t>& frame) {
  constexpr std::size_t kTag = 3;
  frame.assign(kTag, 0);
  BoolEncoder encoder(frame);
  putHeader(encoder, kind, move != nullptr);
  const int rows = blocksAlong(static_cast<int>(kind.height));
  const int columns = blocksAlong(static_cast<int>(kind.width));
  const auto moves = [&](int row, int column) {
    return move != nullptr &&
           move->moves[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                       static_cast<std::size_t>(column)] != 0;
  };
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      Around around;
      const auto look = [&](int up, int left, std::size_t counts) {
        if (up > row || left > column) return;
        (moves(row - up, column - left) ? around.moving : around.staying) += counts;
      };
      look(1, 0, 2);
      look(0, 1, 2);
      look(1, 1, 1);
      putMacroblock(encoder, around, moves(row, column) ? move->from : 0);
    }
  }
  encoder.finish();

  // RFC 6386, 9.1: between key frames, shown, and how long its first partition is.
  const auto tag =
      static_cast<uint32_t>((frame.size() - kTag) << 5 | 1U << 4 | kind.profile << 1 | 1U);
  for (std::size_t i = 0; i < kTag; ++i) frame[i] = static_cast<uint8_t>(tag >> 8 * i);
  // No coefficients are read, but decoders take a frame without their partition for cut off.
  frame.insert(frame.end(), 4, 0);
}

}  // namespace

void writeStillFrame(const WrittenFrameKind& kind, std::vector<uint8_t>& frame) {
  write(kind, nullptr, frame);
}

void writeMoveFrame(const WrittenFrameKind& kind, const BlockMove& move,
                    std::vector<uint8_t>& frame) {
  write(kind, &move, frame);
}

}  // namespace tovalin
