// Moves, buttons, clicks and the wheel.

#include <cctype>
#include <cmath>

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class InputInjectorPointerTest : public InputInjectorFixture {};

TEST_F(InputInjectorPointerTest, AMoveMapsFractionsToTheMainDisplaysBounds) {
  EXPECT_THAT(injectedBy(R"({"t":"m","x":0.5,"y":0.25})"),
              ElementsAre("moved button 0 at 500,200 click 1"));
}

TEST_F(InputInjectorPointerTest, AMoveBeyondTheDisplayStopsAtItsEdge) {
  EXPECT_THAT(injectedBy(R"({"t":"m","x":1.5,"y":-2})"),
              ElementsAre("moved button 0 at 900,50 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"m","x":-1e300,"y":1e300})"),
              ElementsAre("moved button 0 at 100,650 click 1"));
}

TEST_F(InputInjectorPointerTest, AMoveWithoutFieldsGoesToTheDisplaysOrigin) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, AMoveToWhatIsNoNumberAtAllGoesToTheOrigin) {
  injector->handle({{"t", "m"}, {"x", std::nan("")}, {"y", std::nan("")}});
  injector->handle({{"t", "m"}, {"x", HUGE_VAL}, {"y", -HUGE_VAL}});
  EXPECT_THAT(events.takeLines(),
              ElementsAre("moved button 0 at 100,50 click 1", "moved button 0 at 900,50 click 1"));
}

TEST_F(InputInjectorPointerTest, EveryMoveLooksAtTheBoundsAnew) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  events.display = {0, 0, 1000, 2000};
  EXPECT_THAT(injectedBy(R"({"t":"m","x":1,"y":1})"),
              ElementsAre("moved button 0 at 1000,2000 click 1"));
}

TEST_F(InputInjectorPointerTest, APressIsPostedWhereThePointerIs) {
  viewerSends(R"({"t":"m","x":0.5,"y":0.5})");
  EXPECT_THAT(injectedBy(R"({"t":"p","b":0})"),
              ElementsAre("leftDown button 0 at 500,350 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"r","b":0})"), ElementsAre("leftUp button 0 at 500,350 click 1"));
}

TEST_F(InputInjectorPointerTest, BeforeAnyMoveThePointerCountsAsAtZero) {
  EXPECT_THAT(injectedBy(R"({"t":"p"})"), ElementsAre("leftDown button 0 at 0,0 click 1"));
}

// A test's name may hold letters and digits only.
std::string nameOfNumber(const std::string& number) {
  std::string name;
  for (const char c : number) {
    if (c == '-') name += "Minus";
    if (c == '.') name += "Point";
    if (c == '"') name += "Quote";
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
  }
  return name;
}

struct ButtonCode {
  const char* json;
  const char* down;
  const char* up;
};

class InputInjectorButtonTest : public InputInjectorFixture,
                                public testing::WithParamInterface<ButtonCode> {};

TEST_P(InputInjectorButtonTest, PressesReleasesAndClicksTheButtonOfTheCode) {
  const std::string code = GetParam().json;
  const std::string down = std::string(GetParam().down) + " at 0,0 click 1";
  const std::string up = std::string(GetParam().up) + " at 0,0 click 1";
  EXPECT_THAT(injectedBy(R"({"t":"p","b":)" + code + "}"), ElementsAre(down));
  EXPECT_THAT(injectedBy(R"({"t":"r","b":)" + code + "}"), ElementsAre(up));
  EXPECT_THAT(injectedBy(R"({"t":"c","b":)" + code + "}"), ElementsAre(down, up));
}

constexpr ButtonCode left(const char* code) {
  return {code, "leftDown button 0", "leftUp button 0"};
}
constexpr ButtonCode right(const char* code) {
  return {code, "rightDown button 1", "rightUp button 1"};
}
constexpr ButtonCode center(const char* code) {
  return {code, "otherDown button 2", "otherUp button 2"};
}

INSTANTIATE_TEST_SUITE_P(Codes, InputInjectorButtonTest,
                         testing::Values(left("0"), right("1"), center("2"), left("3"), left("-1"),
                                         right("1.9"), left("0.999"), center("2.5"), left("-1.5"),
                                         left("true"), left(R"("1")"), left("null"),
                                         left("9223372036854774784"), left("-9223372036854775808"),
                                         left("-9.2233720368547758e18")),
                         [](const auto& each) { return nameOfNumber(each.param.json); });

TEST_F(InputInjectorPointerTest, MovesDragWithTheLeftButtonUntilItsRelease) {
  viewerSends(R"({"t":"p","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  viewerSends(R"({"t":"r","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, MovesDragWithTheRightButtonUnderTheNameOfTheLeft) {
  viewerSends(R"({"t":"p","b":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("rightDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, TheLeftButtonDragsBeforeTheRight) {
  viewerSends(R"({"t":"p","b":1})");
  viewerSends(R"({"t":"p","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  viewerSends(R"({"t":"r","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("rightDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, TheCenterButtonDoesNotDrag) {
  viewerSends(R"({"t":"p","b":2})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, AReleaseOfAnotherButtonDoesNotEndTheDrag) {
  viewerSends(R"({"t":"p","b":0})");
  viewerSends(R"({"t":"r","b":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorPointerTest, AReleaseWithoutAPressIsPostedAllTheSame) {
  EXPECT_THAT(injectedBy(R"({"t":"r","b":2})"), ElementsAre("otherUp button 2 at 0,0 click 1"));
}

TEST_F(InputInjectorPointerTest, AClickWithTheCountZeroIsOneClick) {
  EXPECT_THAT(injectedBy(R"({"t":"c","b":1,"n":0})"),
              ElementsAre("rightDown button 1 at 0,0 click 1", "rightUp button 1 at 0,0 click 1"));
}

TEST_F(InputInjectorPointerTest, AClickWithAnEmptyOrNegativeCountIsOneClick) {
  for (const char* count : {"-3", "-0.5", "0.9", "1.9", "-9223372036854775808", R"("2")"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"c","n":)") + count + "}"), SizeIs(2)) << count;
  }
}

TEST_F(InputInjectorPointerTest, ATripleClickCountsItsClicks) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  EXPECT_THAT(
      injectedBy(R"({"t":"c","n":3})"),
      ElementsAre("leftDown button 0 at 900,650 click 1", "leftUp button 0 at 900,650 click 1",
                  "leftDown button 0 at 900,650 click 2", "leftUp button 0 at 900,650 click 2",
                  "leftDown button 0 at 900,650 click 3", "leftUp button 0 at 900,650 click 3"));
}

TEST_F(InputInjectorPointerTest, AClickCountIsTruncated) {
  EXPECT_THAT(injectedBy(R"({"t":"c","n":2.9})"), SizeIs(4));
}

TEST_F(InputInjectorPointerTest, AClickNeitherBeginsNorEndsADrag) {
  viewerSends(R"({"t":"c","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
  viewerSends(R"({"t":"p","b":0})");
  viewerSends(R"({"t":"c","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
}

struct Scroll {
  const char* amount;
  const char* line;
};

class InputInjectorScrollTest : public InputInjectorFixture,
                                public testing::WithParamInterface<Scroll> {};

TEST_P(InputInjectorScrollTest, TruncatesTowardZeroAndKeepsTheSign) {
  EXPECT_THAT(injectedBy(std::string(R"({"t":"w","d":)") + GetParam().amount + "}"),
              ElementsAre(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(Amounts, InputInjectorScrollTest,
                         testing::Values(Scroll{"2.9", "scroll 2"}, Scroll{"-1", "scroll -1"},
                                         Scroll{"-1.9", "scroll -1"}, Scroll{"0.4", "scroll 0"},
                                         Scroll{"null", "scroll 0"}, Scroll{"true", "scroll 0"},
                                         Scroll{"2147483647", "scroll 2147483647"},
                                         Scroll{"2147483647.9", "scroll 2147483647"},
                                         Scroll{"-2147483648", "scroll -2147483648"},
                                         Scroll{"-2147483648.9", "scroll -2147483648"}),
                         [](const auto& each) { return nameOfNumber(each.param.amount); });

TEST_F(InputInjectorPointerTest, AScrollWithoutAnAmountScrollsByNothing) {
  EXPECT_THAT(injectedBy(R"({"t":"w"})"), ElementsAre("scroll 0"));
}

TEST_F(InputInjectorPointerTest, TheMainDisplayIsChosenOnce) {
  struct Screens : fake::FakeInputEvents {
    Rect bounds(DisplayId asked) const override {
      return asked == 1 ? Rect{0, 0, 10, 10} : Rect{1000, 0, 10, 10};
    }
  };
  Screens screens;
  const auto made = InputInjector::create(queue, screens, segmenter, permissions, power);
  screens.main = 2;
  made->handle({{"t", "m"}});
  EXPECT_THAT(screens.takeLines(), ElementsAre("moved button 0 at 0,0 click 1"));
}

}  // namespace
}  // namespace tovalin
