#include "platform/webrtc/written_frame.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace tovalin {

namespace {

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

constexpr Probability kNearlyAlways = 255;

enum Mode : uint8_t { kStays = 0, kMoves = 1, kFlat = 2 };

// How likely what is.
struct Kinds {
  Probability coded;  // that a macroblock has coefficients
  Probability flat;   // that it is not from another frame
};

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

// RFC 6386, 9.3 to 9.7 and 19.2, up to the probabilities of the coefficients.
void putBeginning(BoolEncoder& to, const WrittenFrameKind& kind, bool becomesLast) {
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
  to.flag(becomesLast);
}

// RFC 6386, 9.9 to 9.11 and 16.2: what follows them, up to the macroblocks.
void putModeProbabilities(BoolEncoder& to, const Kinds& kinds, bool anyFlat, bool anyMoves) {
  to.flag(true);  // macroblocks may be without coefficients
  to.number(8, kinds.coded);
  to.number(8, kinds.flat);
  to.number(8, kNearlyAlways);  // that the other frame is the last one
  to.number(8, kEven);          // that it else is the golden one
  // What the probabilities of the modes are by now is not known here, nor those of the vectors. The
  // first decision tells a flat macroblock from all others, for brightness and for colour.
  for (const int others : {3, 2}) {
    to.flag(anyFlat);
    if (!anyFlat) continue;
    to.number(8, kNearlyAlways);
    for (int i = 0; i < others; ++i) to.number(8, kEven);
  }
  for (const Probability stays : kMotionStays) {
    to.put(anyMoves, stays);
    if (anyMoves) to.number(7, kEven / 2);
  }
}

// What is known of those above and to the left.
struct Around {
  std::size_t staying = 0;
  std::size_t moving = 0;
};

// RFC 6386, 16.2.
void putFlat(BoolEncoder& to, const Kinds& kinds) {
  to.put(false, kinds.flat);
  to.put(false, kNearlyAlways);  // in brightness
  to.put(false, kNearlyAlways);  // and colour
}

// RFC 6386, 19.3 and 16.3.
void putFromLast(BoolEncoder& to, const Kinds& kinds, const Around& around, int from) {
  to.put(true, kinds.flat);      // from another frame,
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

// `from`: of those that move.
void putMacroblocks(BoolEncoder& to, const Kinds& kinds, std::span<const uint8_t> modes,
                    std::size_t columns, int from, std::span<const CodedMacroblock> blocks) {
  auto block = blocks.begin();
  const std::size_t rows = modes.size() / columns;
  for (std::size_t row = 0, index = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column, ++index) {
      bool coded = false;
      if (block != blocks.end() && block->index == index) coded = !block++->levels.empty();
      to.put(!coded, kinds.coded);
      if (modes[index] == kFlat) {
        putFlat(to, kinds);
        continue;
      }
      Around around;
      const auto look = [&](std::size_t up, std::size_t left, std::size_t counts) {
        if (up > row || left > column) return;
        const auto mode = modes[index - up * columns - left];
        if (mode == kStays) around.staying += counts;
        if (mode == kMoves) around.moving += counts;
      };
      look(1, 0, 2);
      look(0, 1, 2);
      look(1, 1, 1);
      putFromLast(to, kinds, around, modes[index] == kMoves ? from : 0);
    }
  }
}

}  // namespace

void FrameWriter::still(const WrittenFrameKind& kind, Bytes& frame) {
  write(kind, nullptr, {}, false, frame);
}

void FrameWriter::move(const WrittenFrameKind& kind, const BlockMove& move, Bytes& frame) {
  write(kind, &move, {}, true, frame);
}

void FrameWriter::patch(const WrittenFrameKind& kind, const BlockMove* move,
                        std::span<const CodedMacroblock> blocks, Bytes& frame) {
  write(kind, move, blocks, true, frame);
}

void FrameWriter::write(const WrittenFrameKind& kind, const BlockMove* move,
                        std::span<const CodedMacroblock> blocks, bool becomesLast, Bytes& frame) {
  const auto columns = static_cast<std::size_t>(blocksAlong(static_cast<int>(kind.width)));
  const auto rows = static_cast<std::size_t>(blocksAlong(static_cast<int>(kind.height)));
  modes_.assign(rows * columns, kStays);
  if (move != nullptr) std::ranges::copy(move->moves, modes_.begin());
  std::size_t flat = 0;
  std::size_t coded = 0;
  for (const auto& block : blocks) {
    if (block.flat) modes_[block.index] = kFlat;
    flat += block.flat ? 1 : 0;
    coded += block.levels.empty() ? 0 : 1;
  }

  constexpr std::size_t kTag = 3;
  frame.assign(kTag, 0);
  BoolEncoder encoder(frame);
  putBeginning(encoder, kind, becomesLast);
  coefficients_.count(blocks, columns);
  coefficients_.putProbabilities(encoder);
  const Kinds kinds{probabilityOf(coded, modes_.size() - coded),
                    probabilityOf(flat, modes_.size() - flat)};
  putModeProbabilities(encoder, kinds, flat > 0, move != nullptr);
  putMacroblocks(encoder, kinds, modes_, columns, move == nullptr ? 0 : move->from, blocks);
  encoder.finish();

  // RFC 6386, 9.1: between key frames, shown, and how long its first partition is.
  const auto tag =
      static_cast<uint32_t>((frame.size() - kTag) << 5 | 1U << 4 | kind.profile << 1 | 1U);
  for (std::size_t i = 0; i < kTag; ++i) frame[i] = static_cast<uint8_t>(tag >> 8 * i);
  // Also where no coefficients are read: decoders take a frame without their partition for cut off.
  BoolEncoder rest(frame);
  coefficients_.put(blocks, columns, rest);
  rest.finish();
}

}  // namespace tovalin
