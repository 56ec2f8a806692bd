// The segmenter that stands in for the real one must be right about what tests type with it.

#include "tests/fakes/fake_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovalin {
namespace {

using testing::ElementsAreArray;

struct Segmentation {
  const char* name;
  std::string utf8;
  std::vector<std::u16string> clusters;
};

class FakeTextSegmenterTest : public testing::TestWithParam<Segmentation> {};

TEST_P(FakeTextSegmenterTest, FindsWhatAReaderTakesForOneCharacter) {
  EXPECT_THAT(fake::FakeTextSegmenter().graphemeClusters(GetParam().utf8),
              ElementsAreArray(GetParam().clusters));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FakeTextSegmenterTest,
    testing::Values(Segmentation{"Empty", "", {}},  //
                    Segmentation{"Plain", "ab", {u"a", u"b"}},
                    Segmentation{"CombiningMark", "e\u0301x", {u"e\u0301", u"x"}},
                    Segmentation{"LeadingMark", "\u0301x", {u"\u0301", u"x"}},
                    Segmentation{"Emoji", "é🙂", {u"é", u"🙂"}},
                    Segmentation{"VariationSelector", "❤\uFE0F!", {u"❤\uFE0F", u"!"}},
                    Segmentation{"SkinTone", "👍🏽👍", {u"👍🏽", u"👍"}},
                    Segmentation{"Family", "👩\u200D👩\u200D👧a", {u"👩\u200D👩\u200D👧", u"a"}},
                    Segmentation{"TwoFlags", "🇩🇪🇫🇷", {u"🇩🇪", u"🇫🇷"}},
                    Segmentation{"FlagAndAHalf", "🇩🇪🇫", {u"🇩🇪", u"🇫"}},
                    Segmentation{"IllFormed", "a\x80\xC3z", {u"a", u"\uFFFD", u"\uFFFD", u"z"}},
                    Segmentation{"CutShort", "\xF0\x9F", {u"\uFFFD", u"\uFFFD"}},
                    Segmentation{"Overlong", "\xC0\xAF", {u"\uFFFD", u"\uFFFD"}}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace tovalin
