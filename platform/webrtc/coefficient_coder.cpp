#include "platform/webrtc/coefficient_coder.h"

#include <algorithm>
#include <cstdlib>

namespace tovalin {
namespace {

// RFC 6386, 13.4: that a probability of the coefficients stays, in rows of eleven. Here a 0 ends a
// row, and what is left out of it is 255.
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

// RFC 6386, 13.3: the band of each place, and one beyond the last, which has no decisions.
constexpr std::array<std::size_t, 17> kBand{0, 1, 2, 3, 6, 4, 5, 6, 6, 6, 6, 6, 6, 6, 6, 7, 0};

// RFC 6386, 13.2: from which level on the bits of its category are written, and how likely each of
// them is 0.
struct Category {
  int least;
  std::array<Probability, 11> bits;
  std::size_t count;
};
constexpr std::array<Category, 6> kCategories{
    {{5, {159}, 1},
     {7, {165, 145}, 2},
     {11, {173, 148, 140}, 3},
     {19, {176, 155, 140, 135}, 4},
     {35, {180, 157, 141, 134, 130}, 5},
     {67, {254, 254, 243, 230, 196, 177, 153, 140, 133, 130, 129}, 11}}};

// The decisions of the tree of tokens, by their probabilities' places.
enum Node : std::size_t {
  kMore,       // than nothing
  kNotZero,    //
  kNotOne,     //
  kAboveFour,  //
  kNotTwo,
  kNotThree,
  kAboveTen,
  kSecondCategory,
  kAboveThirtyFour,
  kFourthCategory,
  kSixthCategory
};

enum Type : std::size_t { kBrightness = 0, kSecondOrder = 1, kColour = 2 };

}  // namespace

template <typename Sink>
void CoefficientCoder::walkLevel(std::size_t node, int level, Sink&& sink) {
  const int size = std::abs(level);
  const auto decide = [&](Node which, bool bit) { sink.decide(node + which, bit); };
  decide(kNotOne, size > 1);
  if (size > 1) {
    decide(kAboveFour, size > 4);
    if (size <= 4) {
      decide(kNotTwo, size != 2);
      if (size != 2) decide(kNotThree, size != 3);
    } else {
      std::size_t category = kCategories.size() - 1;
      while (size < kCategories[category].least) --category;
      decide(kAboveTen, category > 1);
      if (category <= 1) {
        decide(kSecondCategory, category == 1);
      } else {
        decide(kAboveThirtyFour, category > 3);
        decide(category > 3 ? kSixthCategory : kFourthCategory, category % 2 != 0);
      }
      const auto& [least, bits, count] = kCategories[category];
      for (std::size_t i = 0; i < count; ++i) {
        sink.fixed(bits[i], ((size - least) >> (count - 1 - i) & 1) != 0);
      }
    }
  }
  sink.fixed(kEven, level < 0);
}

// Whether there is any level.
template <typename Sink>
bool CoefficientCoder::walkBlock(std::size_t type, std::span<const int16_t> levels,
                                 std::size_t context, Sink&& sink) {
  const std::size_t first = type == kBrightness ? 1 : 0;
  const auto nodeAt = [&](std::size_t at) {
    return ((type * kBands + kBand[at]) * kContexts + context) * kNodes;
  };
  std::size_t at = first;
  for (bool afterZero = false; at < levels.size(); ++at) {
    const std::size_t node = nodeAt(at);
    const int level = levels[at];
    // What follows a zero is never the end.
    if (!afterZero) sink.decide(node + kMore, true);
    sink.decide(node + kNotZero, level != 0);
    if (level != 0) walkLevel(node, level, sink);
    afterZero = level == 0;
    context = level == 0 ? 0 : std::abs(level) == 1 ? 1 : 2;
  }
  if (at < MacroblockLevels::kCoefficients) sink.decide(nodeAt(at) + kMore, false);
  return levels.size() > first;
}

template <typename Sink>
void CoefficientCoder::walkMacroblock(const CodedMacroblock& block, Edge& above, Edge& left,
                                      Sink&& sink) {
  std::size_t begin = 0;
  const auto walk = [&](Type type, std::size_t index, uint8_t& over, uint8_t& beside) {
    const std::size_t count = block.ends[index];
    over = beside =
        walkBlock(type, block.levels.subspan(begin, count), std::size_t{over} + beside, sink);
    begin += count;
  };
  constexpr std::size_t kLast = 8;  // of an edge
  walk(kSecondOrder, 0, above[kLast], left[kLast]);
  for (std::size_t i = 0; i < 16; ++i) {
    walk(kBrightness, MacroblockLevels::kBrightness + i, above[i % 4], left[i / 4]);
  }
  for (std::size_t colour = 0; colour < 2; ++colour) {
    const std::size_t edge = 4 + 2 * colour;
    for (std::size_t i = 0; i < 4; ++i) {
      walk(kColour, MacroblockLevels::kColour + 4 * colour + i, above[edge + i % 2],
           left[edge + i / 2]);
    }
  }
}

template <typename Sink>
void CoefficientCoder::walk(std::span<const CodedMacroblock> blocks, std::size_t columns,
                            Sink&& sink) {
  constexpr auto kNoRow = static_cast<std::size_t>(-1);
  above_.resize(columns);
  aboveRow_.assign(columns, kNoRow);
  Edge left{};
  std::size_t next = 0;  // to the right of the one before
  for (const auto& block : blocks) {
    if (block.levels.empty()) continue;
    const std::size_t row = block.index / columns;
    const std::size_t column = block.index % columns;
    if (block.index != next || column == 0) left = {};
    Edge& above = above_[column];
    if (aboveRow_[column] + 1 != row || row == 0) above = {};
    walkMacroblock(block, above, left, sink);
    aboveRow_[column] = row;
    next = block.index + 1;
  }
}

void CoefficientCoder::count(std::span<const CodedMacroblock> blocks, std::size_t columns) {
  counts_.fill({});
  struct Counting {
    std::array<Count, kProbabilities>& counts;

    void decide(std::size_t node, bool bit) { ++(bit ? counts[node].ones : counts[node].zeros); }
    void fixed(Probability, bool) {}
  };
  walk(blocks, columns, Counting{counts_});
  std::ranges::transform(counts_, probabilities_.begin(),
                         [](const Count& count) { return probabilityOf(count.zeros, count.ones); });
}

void CoefficientCoder::putProbabilities(BoolEncoder& to) const {
  std::size_t at = 0;
  std::size_t given = 0;  // of the row
  const auto put = [&](Probability stays) {
    const auto& [zeros, ones] = counts_[at];
    const bool used = zeros + ones > 0;
    to.put(used, stays);
    if (used) to.number(8, probabilities_[at]);
    ++at;
    ++given;
  };
  for (const Probability stays : kCoefficientStays) {
    if (stays != 0) {
      put(stays);
      continue;
    }
    while (given < kNodes) put(255);
    given = 0;
  }
}

void CoefficientCoder::put(std::span<const CodedMacroblock> blocks, std::size_t columns,
                           BoolEncoder& to) {
  struct Writing {
    const std::array<Probability, kProbabilities>& probabilities;
    BoolEncoder& to;

    void decide(std::size_t node, bool bit) { to.put(bit, probabilities[node]); }
    void fixed(Probability zero, bool bit) { to.put(bit, zero); }
  };
  walk(blocks, columns, Writing{probabilities_, to});
}

}  // namespace tovalin
