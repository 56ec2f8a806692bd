// Numbers that no integer of theirs can hold end the process.

#include <cmath>

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using nlohmann::json;

struct Unfit {
  const char* name;
  json message;
  const char* why;
};

class InputInjectorHardStopDeathTest : public InputInjectorFixture,
                                       public testing::WithParamInterface<Unfit> {};

TEST_P(InputInjectorHardStopDeathTest, EndsTheProcess) {
  EXPECT_DEATH(injector->handle(GetParam().message),
               std::string("\\[Tovalin\\] fatal: ") + GetParam().why);
}

constexpr char kButton[] = "button code of a control message out of range";
constexpr char kClicks[] = "click count of a control message out of range";
constexpr char kScroll[] = "scroll amount of a control message out of range";
constexpr char kKey[] = "key code of a control message out of range";
constexpr char kFlags[] = "flag mask of a control message out of range";

const double kNan = std::nan("");
const double kInfinity = HUGE_VAL;
const double kBelowInt64 = std::nextafter(-0x1p63, -kInfinity);

INSTANTIATE_TEST_SUITE_P(
    Numbers, InputInjectorHardStopDeathTest,
    testing::Values(Unfit{"PressNan", {{"t", "p"}, {"b", kNan}}, kButton},
                    Unfit{"PressInfinite", {{"t", "p"}, {"b", kInfinity}}, kButton},
                    Unfit{"PressTooGreat", {{"t", "p"}, {"b", 0x1p63}}, kButton},
                    // One below the limit, and rounded up to it.
                    Unfit{"PressRoundedUp", {{"t", "p"}, {"b", INT64_MAX}}, kButton},
                    Unfit{"PressGreatestUnsigned", {{"t", "p"}, {"b", UINT64_MAX}}, kButton},
                    Unfit{"ReleaseTooSmall", {{"t", "r"}, {"b", kBelowInt64}}, kButton},
                    Unfit{"ReleaseInfinite", {{"t", "r"}, {"b", -kInfinity}}, kButton},
                    Unfit{"ClickButtonNan", {{"t", "c"}, {"b", kNan}}, kButton},
                    Unfit{"ClickCountNan", {{"t", "c"}, {"n", kNan}}, kClicks},
                    Unfit{"ClickCountInfinite", {{"t", "c"}, {"n", kInfinity}}, kClicks},
                    Unfit{"ClickCountTooGreat", {{"t", "c"}, {"n", 0x1p63}}, kClicks},
                    Unfit{"ClickCountTooSmall", {{"t", "c"}, {"n", kBelowInt64}}, kClicks},
                    Unfit{"ScrollTooGreat", {{"t", "w"}, {"d", 2147483648.0}}, kScroll},
                    Unfit{"ScrollTooSmall", {{"t", "w"}, {"d", -2147483649.0}}, kScroll},
                    Unfit{"ScrollNan", {{"t", "w"}, {"d", kNan}}, kScroll},
                    Unfit{"ScrollInfinite", {{"t", "w"}, {"d", -kInfinity}}, kScroll},
                    Unfit{"KeyNegative", {{"t", "key"}, {"c", -1}}, kKey},
                    Unfit{"KeyTooGreat", {{"t", "key"}, {"c", 65536}}, kKey},
                    Unfit{"KeyNan", {{"t", "key"}, {"c", kNan}}, kKey},
                    Unfit{"KeyInfinite", {{"t", "key"}, {"c", kInfinity}}, kKey},
                    Unfit{"FlagsNegative", {{"t", "key"}, {"f", -1}}, kFlags},
                    Unfit{"FlagsTooGreat", {{"t", "key"}, {"f", 0x1p64}}, kFlags},
                    Unfit{"FlagsRoundedUp", {{"t", "key"}, {"f", UINT64_MAX}}, kFlags},
                    Unfit{"FlagsNan", {{"t", "key"}, {"f", kNan}}, kFlags},
                    Unfit{"FlagsInfinite", {{"t", "key"}, {"f", kInfinity}}, kFlags}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace tovalin
