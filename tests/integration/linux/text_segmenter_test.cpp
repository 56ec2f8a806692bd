#include "platform/linux/text_segmenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace tovalin {
namespace {

using Clusters = std::vector<std::u16string>;

TEST(TextSegmenterTest, SplitsIntoWhatPeopleSeeAsCharacters) {
  const struct {
    std::string text;
    Clusters clusters;
  } cases[] = {
      {"", {}},
      {"ab c", {u"a", u"b", u" ", u"c"}},
      {"é", {u"\u00e9"}},
      {"e\u0301x", {u"e\u0301", u"x"}},
      {"\r\n\n", {u"\r\n", u"\n"}},
      {"日本", {u"日", u"本"}},
      {"\u1112\u1161\u11ab", {u"\u1112\u1161\u11ab"}},
      {"न\u093f", {u"न\u093f"}},
      {"😀!", {u"😀", u"!"}},
      {"👍🏽", {u"👍🏽"}},
      {"👩‍👩‍👧", {u"👩‍👩‍👧"}},
      {"🇩🇪🇫🇷", {u"🇩🇪", u"🇫🇷"}},
      {"❤️", {u"❤️"}},
      {"1️⃣", {u"1️⃣"}},
  };
  const auto segmenter = makeTextSegmenter();
  for (const auto& test : cases) {
    EXPECT_EQ(segmenter->graphemeClusters(test.text), test.clusters) << test.text;
  }
}

TEST(TextSegmenterTest, IllFormedBytesBecomeReplacementCharacters) {
  using namespace std::string_literals;
  const auto segmenter = makeTextSegmenter();
  EXPECT_EQ(segmenter->graphemeClusters("a\xff"
                                        "b"),
            (Clusters{u"a", u"\ufffd", u"b"}));
  EXPECT_EQ(segmenter->graphemeClusters("\xe4\xba"), (Clusters{u"\ufffd"}));
  EXPECT_EQ(segmenter->graphemeClusters("nul\0"s).size(), 4u);
}

TEST(TextSegmenterTest, ALongTextComesOutWhole) {
  std::string text;
  for (int i = 0; i < 10'000; ++i) text += "👍🏽";
  EXPECT_EQ(makeTextSegmenter()->graphemeClusters(text), Clusters(10'000, u"👍🏽"));
}

TEST(TextSegmenterTest, ThreadsDoNotDisturbEachOther) {
  const auto segmenter = makeTextSegmenter();
  std::vector<int> wrong(4);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < wrong.size(); ++i) {
    threads.emplace_back([&, i] {
      const Clusters expected(i + 1, u"🇩🇪");
      std::string text;
      for (size_t n = 0; n <= i; ++n) text += "🇩🇪";
      for (int n = 0; n < 200; ++n) wrong[i] += segmenter->graphemeClusters(text) != expected;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(wrong, testing::Each(0));
}

}  // namespace
}  // namespace tovalin
