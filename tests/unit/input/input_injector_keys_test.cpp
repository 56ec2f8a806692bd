// Typed text and raw keys.

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InputInjectorKeysTest : public InputInjectorFixture {};

TEST_F(InputInjectorKeysTest, TypingPostsOnePairForEachCharacterAReaderSees) {
  EXPECT_THAT(
      injectedBy(R"({"t":"k","s":"é🙂"})"),
      ElementsAre("text 00e9 down key 0 flags 0x0", "text 00e9 up key 0 flags 0x0",
                  "text d83d de42 down key 0 flags 0x0", "text d83d de42 up key 0 flags 0x0"));
  EXPECT_THAT(
      injectedBy(R"({"t":"k","s":"e\u0301"})"),
      ElementsAre("text 0065 0301 down key 0 flags 0x0", "text 0065 0301 up key 0 flags 0x0"));
}

TEST_F(InputInjectorKeysTest, TypingNothingPostsNothing) {
  for (const char* text : {R"("")", "null", "5", "true", R"(["a"])"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"k","s":)") + text + "}"), IsEmpty()) << text;
  }
  EXPECT_THAT(injectedBy(R"({"t":"k"})"), IsEmpty());
}

TEST_F(InputInjectorKeysTest, TypingCarriesControlCharactersAndEmbeddedNulls) {
  EXPECT_THAT(injectedBy(R"({"t":"k","s":"\n\u0000"})"),
              ElementsAre("text 000a down key 0 flags 0x0", "text 000a up key 0 flags 0x0",
                          "text 0000 down key 0 flags 0x0", "text 0000 up key 0 flags 0x0"));
}

struct RawKey {
  const char* name;
  const char* fields;
  const char* line;
};

class InputInjectorKeyTest : public InputInjectorFixture,
                             public testing::WithParamInterface<RawKey> {};

TEST_P(InputInjectorKeyTest, PostsOneEvent) {
  EXPECT_THAT(injectedBy(std::string(R"({"t":"key")") + GetParam().fields + "}"),
              ElementsAre(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, InputInjectorKeyTest,
    testing::Values(RawKey{"Zero", R"(,"c":0)", "key 0 down flags 0x0"},
                    RawKey{"ZeroUp", R"(,"c":0,"d":false)", "key 0 up flags 0x0"},
                    RawKey{"Down", R"(,"c":36,"d":true)", "key 36 down flags 0x0"},
                    RawKey{"NoFields", "", "key 0 down flags 0x0"},
                    RawKey{"NumericDirection", R"(,"c":5,"d":0)", "key 5 down flags 0x0"},
                    RawKey{"NullDirection", R"(,"c":5,"d":null)", "key 5 down flags 0x0"},
                    RawKey{"TextDirection", R"(,"c":5,"d":"false")", "key 5 down flags 0x0"},
                    RawKey{"TextCode", R"(,"c":"5")", "key 0 down flags 0x0"},
                    RawKey{"BooleanCode", R"(,"c":true)", "key 0 down flags 0x0"},
                    RawKey{"Greatest", R"(,"c":65535)", "key 65535 down flags 0x0"},
                    RawKey{"GreatestTruncated", R"(,"c":65535.9)", "key 65535 down flags 0x0"},
                    RawKey{"TruncatedToZero", R"(,"c":-0.5)", "key 0 down flags 0x0"},
                    RawKey{"Flags", R"(,"c":8,"f":1179648)", "key 8 down flags 0x120000"},
                    RawKey{"FlagsTruncated", R"(,"c":8,"d":false,"f":131072.7)",
                           "key 8 up flags 0x20000"},
                    RawKey{"FlagsTruncatedToZero", R"(,"c":8,"f":-0.5)", "key 8 down flags 0x0"},
                    RawKey{"FlagsMinusZero", R"(,"c":8,"f":-0.0)", "key 8 down flags 0x0"},
                    RawKey{"GreatestFlags", R"(,"c":8,"f":18446744073709549568)",
                           "key 8 down flags 0xfffffffffffff800"}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace tovalin
