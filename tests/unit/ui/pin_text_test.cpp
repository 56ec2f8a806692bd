#include "ui/pin_text.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_text.h"

namespace tovalin {
namespace {

std::string shown(std::string_view pin) {
  return pinText(fake::FakeTextSegmenter{}, pin);
}

TEST(PinTextTest, TwoSpacesStandBetweenNeighbours) {
  EXPECT_EQ(shown("042817"), "0  4  2  8  1  7");
}

TEST(PinTextTest, ASingleCharacterAndNoneStandAlone) {
  EXPECT_EQ(shown("7"), "7");
  EXPECT_EQ(shown(""), "");
}

TEST(PinTextTest, CharactersOfEveryLengthStayWhole) {
  EXPECT_EQ(shown("aé漢😀"), "a  é  漢  😀");
  EXPECT_EQ(shown("e\u0301x"), "e\u0301  x");
}

}  // namespace
}  // namespace tovalin
