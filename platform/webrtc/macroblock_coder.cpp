#include "platform/webrtc/macroblock_coder.h"

#include <algorithm>
#include <cstdlib>

namespace tovalin {
namespace {

constexpr int kSide = 4;  // of a block
constexpr int kPixels = kSide * kSide;

using Block = std::array<int, kPixels>;

constexpr std::array<uint8_t, kPixels> kZigzag{0, 1,  4,  8,  5, 2,  3,  6,
                                               9, 12, 13, 10, 7, 11, 14, 15};

// How far apart the levels of a coefficient are; and where between two of them the upper one
// begins, in 8ths of that: the lower one of a coefficient that is not the first is cheaper, and
// hardly worse.
class Quantizer {
 public:
  constexpr Quantizer(int step, int up)
      : step_(step), up_(step * up / 8), inverse_((1 << kFine) / step + 1) {}

  int level(int coefficient) const {
    const int size = (std::abs(coefficient) + up_) * inverse_ >> kFine;
    return coefficient < 0 ? -size : size;
  }
  int value(int level) const { return level * step_; }

 private:
  // The largest coefficient, of the second order, is 16,320: times that it still fits.
  static constexpr int kFine = 20;

  int step_;
  int up_;
  int inverse_;
};

// RFC 6386, 9.6 and 14.1.
struct Quantizers {
  constexpr Quantizers(int firstStep, int step)
      : first(firstStep, 4),
        others(step, 3),
        secondOrderFirst(2 * firstStep, 4),
        secondOrderOthers(step * 155 / 100, 3) {}

  Quantizer first;
  Quantizer others;
  Quantizer secondOrderFirst;
  Quantizer secondOrderOthers;
};
constexpr Quantizers kSketch{37, 44};
constexpr Quantizers kQuick{17, 19};
constexpr Quantizers kFine{8, 8};

const Quantizers& quantizersOf(Fineness fineness) {
  switch (fineness) {
    case Fineness::sketch:
      return kSketch;
    case Fineness::quick:
      return kQuick;
    case Fineness::fine:
      break;
  }
  return kFine;
}

// cos(pi / 8) and sin(pi / 8), times the root of 2, in 4096ths.
constexpr int kCosine = 5352;
constexpr int kSine = 2217;

bool isZero(const Block& block) {
  int any = 0;
  for (const int value : block) any |= value;
  return any == 0;
}

// The inverse of addInverse(), as near as whole numbers come.
Block transformed(const Block& pixels) {
  if (isZero(pixels)) return pixels;
  constexpr int kScale = 8;
  Block half;
  for (int row = 0; row < kSide; ++row) {
    const int* in = &pixels[static_cast<std::size_t>(row * kSide)];
    int* out = &half[static_cast<std::size_t>(row * kSide)];
    const int a = in[0] + in[3];
    const int b = in[1] + in[2];
    const int c = in[1] - in[2];
    const int d = in[0] - in[3];
    out[0] = (a + b) * kScale;
    out[1] = (d * kCosine + c * kSine + 256) >> 9;
    out[2] = (a - b) * kScale;
    out[3] = (d * kSine - c * kCosine + 256) >> 9;
  }
  Block whole;
  for (std::size_t column = 0; column < kSide; ++column) {
    const int a = half[column] + half[column + 12];
    const int b = half[column + 4] + half[column + 8];
    const int c = half[column + 4] - half[column + 8];
    const int d = half[column] - half[column + 12];
    // Twice the orthonormal transform is what the inverse wants; this is 32 times.
    const auto scaled = [](int value) { return (value + 8) >> 4; };
    whole[column] = scaled(a + b);
    whole[column + 4] = scaled((d * kCosine + c * kSine + 2048) >> 12);
    whole[column + 8] = scaled(a - b);
    whole[column + 12] = scaled((d * kSine - c * kCosine + 2048) >> 12);
  }
  return whole;
}

// RFC 6386, 14.3, to the bit.
void addInverse(const Block& coefficients, uint8_t* pixels, int stride) {
  const auto cosine = [](int value) { return value + (value * 20091 >> 16); };
  const auto sine = [](int value) { return value * 35468 >> 16; };
  Block half;
  for (std::size_t column = 0; column < kSide; ++column) {
    const int* in = &coefficients[column];
    const int a = in[0] + in[8];
    const int b = in[0] - in[8];
    const int c = sine(in[4]) - cosine(in[12]);
    const int d = cosine(in[4]) + sine(in[12]);
    half[column] = a + d;
    half[column + 4] = b + c;
    half[column + 8] = b - c;
    half[column + 12] = a - d;
  }
  for (int row = 0; row < kSide; ++row) {
    const int* in = &half[static_cast<std::size_t>(row * kSide)];
    const int a = in[0] + in[2];
    const int b = in[0] - in[2];
    const int c = sine(in[1]) - cosine(in[3]);
    const int d = cosine(in[1]) + sine(in[3]);
    uint8_t* out = pixels + static_cast<std::ptrdiff_t>(row) * stride;
    const auto add = [out](int column, int value) {
      out[column] = static_cast<uint8_t>(std::clamp(out[column] + ((value + 4) >> 3), 0, 255));
    };
    add(0, a + d);
    add(1, b + c);
    add(2, b - c);
    add(3, a - d);
  }
}

// Sums and differences along the rows, and then the columns; its own inverse but for the scale.
Block hadamard(const Block& values) {
  Block half;
  for (std::size_t column = 0; column < kSide; ++column) {
    const int a = values[column] + values[column + 12];
    const int b = values[column + 4] + values[column + 8];
    const int c = values[column + 4] - values[column + 8];
    const int d = values[column] - values[column + 12];
    half[column] = a + b;
    half[column + 4] = c + d;
    half[column + 8] = a - b;
    half[column + 12] = d - c;
  }
  Block whole;
  for (std::size_t row = 0; row < kPixels; row += kSide) {
    const int a = half[row] + half[row + 3];
    const int b = half[row + 1] + half[row + 2];
    const int c = half[row + 1] - half[row + 2];
    const int d = half[row] - half[row + 3];
    whole[row] = a + b;
    whole[row + 1] = c + d;
    whole[row + 2] = a - b;
    whole[row + 3] = d - c;
  }
  return whole;
}

// Quantises a block from a place in the zigzag on; `block` becomes what a decoder reads of it.
class LevelWriter {
 public:
  LevelWriter(Fineness fineness, MacroblockLevels& to)
      : quantizers(quantizersOf(fineness)), to_(to) {
    to_.count = to_.set = 0;
  }

  const Quantizers& quantizers;

  // Blocks in their order. The first level is 0 if it is not coded with the block.
  void put(std::size_t index, Block& block, const Quantizer* first, const Quantizer& others) {
    int16_t* const levels = &to_.levels[to_.count];
    std::size_t end = 0;
    levels[0] = 0;
    for (std::size_t i = first == nullptr ? 1 : 0; i < kPixels; ++i) {
      const Quantizer& quantizer = i == 0 ? *first : others;
      int& coefficient = block[kZigzag[i]];
      const int level = quantizer.level(coefficient);
      coefficient = quantizer.value(level);
      levels[i] = static_cast<int16_t>(level);
      if (level == 0) continue;
      end = i + 1;
      ++to_.set;
    }
    putEnd(index, end);
  }

  void putNothing(std::size_t index) { putEnd(index, 0); }

 private:
  void putEnd(std::size_t index, std::size_t end) {
    to_.ends[index] = static_cast<uint8_t>(end);
    to_.count = static_cast<uint16_t>(to_.count + end);
  }

  MacroblockLevels& to_;
};

Block difference(const uint8_t* source, const uint8_t* predicted, int stride) {
  Block block;
  for (int row = 0; row < kSide; ++row) {
    for (int column = 0; column < kSide; ++column) {
      const int at = row * stride + column;
      block[static_cast<std::size_t>(row * kSide + column)] = source[at] - predicted[at];
    }
  }
  return block;
}

// Of a square of pixels.
template <int side>
int sumOf(const uint8_t* pixels, int stride) {
  int sum = 0;
  for (int row = 0; row < side; ++row) {
    for (int column = 0; column < side; ++column) sum += pixels[row * stride + column];
  }
  return sum;
}

// What addInverse() makes of first coefficients alone.
template <int side>
void addFirst(int coefficient, uint8_t* pixels, int stride) {
  const int value = (coefficient + 4) >> 3;
  if (value == 0) return;
  for (int row = 0; row < side; ++row, pixels += stride) {
    for (int column = 0; column < side; ++column) {
      pixels[column] = static_cast<uint8_t>(std::clamp(pixels[column] + value, 0, 255));
    }
  }
}

// The first coefficients of all blocks together, which become what a decoder reads of them.
void codeFirsts(Block& firsts, LevelWriter& writer) {
  Block second = hadamard(firsts);
  for (int& value : second) value = (value + (value > 0 ? 1 : 0)) >> 1;
  writer.put(0, second, &writer.quantizers.secondOrderFirst, writer.quantizers.secondOrderOthers);
  firsts = hadamard(second);
  for (int& value : firsts) value = (value + 3) >> 3;
}

void codeBrightness(const uint8_t* source, uint8_t* predicted, LevelWriter& writer) {
  constexpr int kAlong = kBlock / kSide;
  std::array<Block, kPixels> blocks;
  Block firsts;
  const auto place = [](std::size_t i) {
    const auto at = static_cast<int>(i);
    return at / kAlong * kSide * kBlock + at % kAlong * kSide;
  };
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    blocks[i] = transformed(difference(source + place(i), predicted + place(i), kBlock));
    firsts[i] = blocks[i][0];
  }
  codeFirsts(firsts, writer);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    auto& block = blocks[i];
    writer.put(MacroblockLevels::kBrightness + i, block, nullptr, writer.quantizers.others);
    block[0] = firsts[i];
    if (!isZero(block)) addInverse(block, predicted + place(i), kBlock);
  }
}

void codeColour(std::size_t first, const uint8_t* source, uint8_t* predicted, LevelWriter& writer) {
  constexpr int kStride = MacroblockPixels::kColour;
  for (int i = 0; i < 4; ++i) {
    const int at = i / 2 * kSide * kStride + i % 2 * kSide;
    Block block = transformed(difference(source + at, predicted + at, kStride));
    writer.put(first + static_cast<std::size_t>(i), block, &writer.quantizers.first,
               writer.quantizers.others);
    if (!isZero(block)) addInverse(block, predicted + at, kStride);
  }
}

// Of brightness the quarters of the macroblock, of colours all of it.
void sketchBrightness(const uint8_t* source, uint8_t* predicted, LevelWriter& writer) {
  constexpr int kQuarter = kBlock / 2;
  constexpr std::array<std::size_t, 4> kCorners{0, 2, 8, 10};  // of the 16 blocks
  const auto place = [](std::size_t quarter) {
    const auto at = static_cast<int>(quarter);
    return at / 2 * kQuarter * kBlock + at % 2 * kQuarter;
  };
  Block firsts;
  for (std::size_t quarter = 0; quarter < kCorners.size(); ++quarter) {
    const int sum = sumOf<kQuarter>(source + place(quarter), kBlock) -
                    sumOf<kQuarter>(predicted + place(quarter), kBlock);
    for (const std::size_t block : {0U, 1U, 4U, 5U}) firsts[kCorners[quarter] + block] = sum / 8;
  }
  codeFirsts(firsts, writer);
  for (std::size_t quarter = 0; quarter < kCorners.size(); ++quarter) {
    addFirst<kQuarter>(firsts[kCorners[quarter]], predicted + place(quarter), kBlock);
  }
}

void sketchColour(std::size_t first, const uint8_t* source, uint8_t* predicted,
                  LevelWriter& writer) {
  constexpr int kStride = MacroblockPixels::kColour;
  const int sum = sumOf<kStride>(source, kStride) - sumOf<kStride>(predicted, kStride);
  Block block{};
  for (std::size_t i = 0; i < 4; ++i) {
    block[0] = sum / 8;
    writer.put(first + i, block, &writer.quantizers.first, writer.quantizers.others);
  }
  addFirst<kStride>(block[0], predicted, kStride);
}

}  // namespace

void MacroblockCoder::code(const MacroblockPixels& source, Fineness fineness,
                           MacroblockPixels& predicted, MacroblockLevels& levels) {
  LevelWriter writer(fineness, levels);
  constexpr std::size_t kColour = MacroblockLevels::kColour;
  if (fineness == Fineness::sketch) {
    sketchBrightness(source.y.data(), predicted.y.data(), writer);
    for (std::size_t i = 0; i < kColour - 1; ++i) writer.putNothing(i + 1);
    sketchColour(kColour, source.u.data(), predicted.u.data(), writer);
    sketchColour(kColour + 4, source.v.data(), predicted.v.data(), writer);
    return;
  }
  codeBrightness(source.y.data(), predicted.y.data(), writer);
  codeColour(kColour, source.u.data(), predicted.u.data(), writer);
  codeColour(kColour + 4, source.v.data(), predicted.v.data(), writer);
}

}  // namespace tovalin
