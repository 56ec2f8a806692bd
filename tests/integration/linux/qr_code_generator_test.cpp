#include "platform/linux/qr_code_generator.h"

#include <gtest/gtest.h>

#include <string>

namespace tovalin {
namespace {

// Enough of a reader to take apart a code of version 1 (21 modules a side, one block).
class VersionOneReader {
 public:
  explicit VersionOneReader(const QrModules& modules) : modules_(modules) {
    int bits = 0;
    for (int i = 0; i < 6; ++i) bits |= modules_.at(8, i) << i;
    bits |= modules_.at(8, 7) << 6 | modules_.at(8, 8) << 7 | modules_.at(7, 8) << 8;
    for (int i = 9; i < 15; ++i) bits |= modules_.at(14 - i, 8) << i;
    format_ = bits ^ 0x5412;
  }

  // The error-correction level's two bits: 00 is M, 01 L, 11 Q, 10 H.
  int level() const { return format_ >> 13; }

  // The mode's four bits and the bytes, as level M lays them out.
  int mode() const { return number(bits(), 0, 4); }
  std::string text() const {
    const auto all = bits();
    std::string text;
    const int count = number(all, 4, 8);
    for (int i = 0; i < count; ++i) text += static_cast<char>(number(all, 12 + 8 * i, 8));
    return text;
  }

 private:
  static constexpr int kSize = 21;

  static bool isFunction(int x, int y) {
    return x == 6 || y == 6 || (x < 9 && y < 9) || (x >= 13 && y < 9) || (x < 9 && y >= 13);
  }

  bool masked(int x, int y) const {
    switch (format_ >> 10 & 7) {
      case 0:
        return (x + y) % 2 == 0;
      case 1:
        return y % 2 == 0;
      case 2:
        return x % 3 == 0;
      case 3:
        return (x + y) % 3 == 0;
      case 4:
        return (x / 3 + y / 2) % 2 == 0;
      case 5:
        return x * y % 2 + x * y % 3 == 0;
      case 6:
        return (x * y % 2 + x * y % 3) % 2 == 0;
      default:
        return ((x + y) % 2 + x * y % 3) % 2 == 0;
    }
  }

  std::vector<bool> bits() const {
    std::vector<bool> bits;
    bool up = true;
    for (int right = kSize - 1; right > 0; right -= 2, up = !up) {
      if (right == 6) right = 5;
      for (int step = 0; step < kSize; ++step) {
        const int y = up ? kSize - 1 - step : step;
        for (const int x : {right, right - 1}) {
          if (!isFunction(x, y)) bits.push_back(modules_.at(x, y) != masked(x, y));
        }
      }
    }
    return bits;
  }

  static int number(const std::vector<bool>& bits, int begin, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) value = value * 2 + bits[static_cast<size_t>(begin + i)];
    return value;
  }

  const QrModules& modules_;
  int format_ = 0;
};

TEST(QrCodeGeneratorTest, ACodeReadsBackAsItsBytes) {
  for (const std::string text : {"tovalin://pair", "a", "0123456789", "HTTP/", "ä 🖥️", ""}) {
    const auto modules = makeQrCodeGenerator()->encode(text);
    ASSERT_TRUE(modules) << text;
    ASSERT_EQ(modules->size, 21) << text;
    ASSERT_EQ(modules->dark.size(), 441u);
    EXPECT_EQ(VersionOneReader(*modules).text(), text);
    EXPECT_EQ(VersionOneReader(*modules).mode(), 4) << "byte mode: " << text;
  }
}

TEST(QrCodeGeneratorTest, TheLevelIsMEvenWhereAHigherOneWouldFit) {
  const auto modules = makeQrCodeGenerator()->encode("a");
  ASSERT_TRUE(modules);
  EXPECT_EQ(VersionOneReader(*modules).level(), 0);
}

TEST(QrCodeGeneratorTest, TheSmallestVersionThatHoldsTheTextIsUsed) {
  const struct {
    size_t bytes;
    int size;
  } cases[] = {{14, 21}, {15, 25}, {26, 25}, {27, 29}, {2331, 177}};
  for (const auto& test : cases) {
    const auto modules = makeQrCodeGenerator()->encode(std::string(test.bytes, 'x'));
    ASSERT_TRUE(modules) << test.bytes;
    EXPECT_EQ(modules->size, test.size) << test.bytes;
    EXPECT_EQ(modules->dark.size(), static_cast<size_t>(test.size * test.size));
  }
}

TEST(QrCodeGeneratorTest, ATextThatDoesNotFitGivesNone) {
  EXPECT_FALSE(makeQrCodeGenerator()->encode(std::string(2332, 'x')));
  EXPECT_FALSE(makeQrCodeGenerator()->encode(std::string(1'000'000, '1')));
}

}  // namespace
}  // namespace tovalin
