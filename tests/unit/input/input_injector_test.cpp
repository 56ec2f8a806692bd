#include "input/input_injector.h"

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class InputInjectorTest : public InputInjectorFixture {};

TEST_F(InputInjectorTest, AMoveMapsFractionsToTheMainDisplaysBounds) {
  EXPECT_THAT(injectedBy(R"({"t":"m","x":0.5,"y":0.25})"),
              ElementsAre("moved button 0 at 500,200 click 1"));
}

TEST_F(InputInjectorTest, AMoveBeyondTheDisplayStopsAtItsEdge) {
  EXPECT_THAT(injectedBy(R"({"t":"m","x":1.5,"y":-2})"),
              ElementsAre("moved button 0 at 900,50 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"m","x":-1e300,"y":1e300})"),
              ElementsAre("moved button 0 at 100,650 click 1"));
}

TEST_F(InputInjectorTest, AMoveWithoutFieldsGoesToTheDisplaysOrigin) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, AMoveToWhatIsNoNumberAtAllGoesToTheOrigin) {
  injector->handle({{"t", "m"}, {"x", std::nan("")}, {"y", std::nan("")}});
  injector->handle({{"t", "m"}, {"x", HUGE_VAL}, {"y", -HUGE_VAL}});
  EXPECT_THAT(events.takeLines(),
              ElementsAre("moved button 0 at 100,50 click 1", "moved button 0 at 900,50 click 1"));
}

TEST_F(InputInjectorTest, FieldsThatAreNotNumbersCountAsZero) {
  for (const char* value : {R"("0.5")", "true", "false", "null", "[1]", R"({"x":1})"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"m","y":0.5,"x":)") + value + "}"),
                ElementsAre("moved button 0 at 100,350 click 1"))
        << value;
  }
}

TEST_F(InputInjectorTest, EveryMoveLooksAtTheBoundsAnew) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  events.display = {0, 0, 1000, 2000};
  EXPECT_THAT(injectedBy(R"({"t":"m","x":1,"y":1})"),
              ElementsAre("moved button 0 at 1000,2000 click 1"));
}

TEST_F(InputInjectorTest, APressIsPostedWhereThePointerIs) {
  viewerSends(R"({"t":"m","x":0.5,"y":0.5})");
  EXPECT_THAT(injectedBy(R"({"t":"p","b":0})"),
              ElementsAre("leftDown button 0 at 500,350 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"r","b":0})"), ElementsAre("leftUp button 0 at 500,350 click 1"));
}

TEST_F(InputInjectorTest, BeforeAnyMoveThePointerCountsAsAtZero) {
  EXPECT_THAT(injectedBy(R"({"t":"p"})"), ElementsAre("leftDown button 0 at 0,0 click 1"));
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
                                         left("-9.2233720368547758e18")));

TEST_F(InputInjectorTest, MovesDragWithTheLeftButtonUntilItsRelease) {
  viewerSends(R"({"t":"p","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  viewerSends(R"({"t":"r","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, MovesDragWithTheRightButtonUnderTheNameOfTheLeft) {
  viewerSends(R"({"t":"p","b":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("rightDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, TheLeftButtonDragsBeforeTheRight) {
  viewerSends(R"({"t":"p","b":1})");
  viewerSends(R"({"t":"p","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
  viewerSends(R"({"t":"r","b":0})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("rightDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, TheCenterButtonDoesNotDrag) {
  viewerSends(R"({"t":"p","b":2})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("moved button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, AReleaseOfAnotherButtonDoesNotEndTheDrag) {
  viewerSends(R"({"t":"p","b":0})");
  viewerSends(R"({"t":"r","b":1})");
  EXPECT_THAT(injectedBy(R"({"t":"m"})"), ElementsAre("leftDragged button 0 at 100,50 click 1"));
}

TEST_F(InputInjectorTest, AReleaseWithoutAPressIsPostedAllTheSame) {
  EXPECT_THAT(injectedBy(R"({"t":"r","b":2})"), ElementsAre("otherUp button 2 at 0,0 click 1"));
}

TEST_F(InputInjectorTest, AClickWithTheCountZeroIsOneClick) {
  EXPECT_THAT(injectedBy(R"({"t":"c","b":1,"n":0})"),
              ElementsAre("rightDown button 1 at 0,0 click 1", "rightUp button 1 at 0,0 click 1"));
}

TEST_F(InputInjectorTest, AClickWithAnEmptyOrNegativeCountIsOneClick) {
  for (const char* count : {"-3", "-0.5", "0.9", "1.9", "-9223372036854775808", R"("2")"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"c","n":)") + count + "}"), SizeIs(2)) << count;
  }
}

TEST_F(InputInjectorTest, ATripleClickCountsItsClicks) {
  viewerSends(R"({"t":"m","x":1,"y":1})");
  EXPECT_THAT(
      injectedBy(R"({"t":"c","n":3})"),
      ElementsAre("leftDown button 0 at 900,650 click 1", "leftUp button 0 at 900,650 click 1",
                  "leftDown button 0 at 900,650 click 2", "leftUp button 0 at 900,650 click 2",
                  "leftDown button 0 at 900,650 click 3", "leftUp button 0 at 900,650 click 3"));
}

TEST_F(InputInjectorTest, AClickCountIsTruncated) {
  EXPECT_THAT(injectedBy(R"({"t":"c","n":2.9})"), SizeIs(4));
}

TEST_F(InputInjectorTest, AClickNeitherBeginsNorEndsADrag) {
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
                                         Scroll{"-2147483648.9", "scroll -2147483648"}));

TEST_F(InputInjectorTest, AScrollWithoutAnAmountScrollsByNothing) {
  EXPECT_THAT(injectedBy(R"({"t":"w"})"), ElementsAre("scroll 0"));
}

TEST_F(InputInjectorTest, TypingPostsOnePairForEachCharacterAReaderSees) {
  EXPECT_THAT(
      injectedBy(R"({"t":"k","s":"é🙂"})"),
      ElementsAre("text 00e9 down key 0 flags 0x0", "text 00e9 up key 0 flags 0x0",
                  "text d83d de42 down key 0 flags 0x0", "text d83d de42 up key 0 flags 0x0"));
  EXPECT_THAT(
      injectedBy(R"({"t":"k","s":"e\u0301"})"),
      ElementsAre("text 0065 0301 down key 0 flags 0x0", "text 0065 0301 up key 0 flags 0x0"));
}

TEST_F(InputInjectorTest, TypingNothingPostsNothing) {
  for (const char* text : {R"("")", "null", "5", "true", R"(["a"])"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"k","s":)") + text + "}"), IsEmpty()) << text;
  }
  EXPECT_THAT(injectedBy(R"({"t":"k"})"), IsEmpty());
}

TEST_F(InputInjectorTest, TypingCarriesControlCharactersAndEmbeddedNulls) {
  EXPECT_THAT(injectedBy(R"({"t":"k","s":"\n\u0000"})"),
              ElementsAre("text 000a down key 0 flags 0x0", "text 000a up key 0 flags 0x0",
                          "text 0000 down key 0 flags 0x0", "text 0000 up key 0 flags 0x0"));
}

struct RawKey {
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
    testing::Values(RawKey{R"(,"c":0)", "key 0 down flags 0x0"},
                    RawKey{R"(,"c":0,"d":false)", "key 0 up flags 0x0"},
                    RawKey{R"(,"c":36,"d":true)", "key 36 down flags 0x0"},
                    RawKey{"", "key 0 down flags 0x0"},
                    RawKey{R"(,"c":5,"d":0)", "key 5 down flags 0x0"},
                    RawKey{R"(,"c":5,"d":null)", "key 5 down flags 0x0"},
                    RawKey{R"(,"c":5,"d":"false")", "key 5 down flags 0x0"},
                    RawKey{R"(,"c":"5")", "key 0 down flags 0x0"},
                    RawKey{R"(,"c":true)", "key 0 down flags 0x0"},
                    RawKey{R"(,"c":65535)", "key 65535 down flags 0x0"},
                    RawKey{R"(,"c":65535.9)", "key 65535 down flags 0x0"},
                    RawKey{R"(,"c":-0.5)", "key 0 down flags 0x0"},
                    RawKey{R"(,"c":8,"f":1179648)", "key 8 down flags 0x120000"},
                    RawKey{R"(,"c":8,"d":false,"f":131072.7)", "key 8 up flags 0x20000"},
                    RawKey{R"(,"c":8,"f":-0.5)", "key 8 down flags 0x0"},
                    RawKey{R"(,"c":8,"f":-0.0)", "key 8 down flags 0x0"},
                    RawKey{R"(,"c":8,"f":18446744073709549568)",
                           "key 8 down flags 0xfffffffffffff800"}));

struct Ignored {
  const char* name;
  json message;
};

class InputInjectorIgnoredTest : public InputInjectorFixture,
                                 public testing::WithParamInterface<Ignored> {};

TEST_P(InputInjectorIgnoredTest, DoesNothingNotEvenTheTrustDiagnostic) {
  injector->handle(GetParam().message);
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
  EXPECT_THAT(diagnostics, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Messages, InputInjectorIgnoredTest,
                         testing::Values(Ignored{"Empty", json::object()},
                                         Ignored{"Kindless", {{"x", 1}}},
                                         Ignored{"NumericKind", {{"t", 1}}},
                                         Ignored{"NullKind", {{"t", nullptr}}},
                                         Ignored{"ListKind", {{"t", json::array({"m"})}}},
                                         Ignored{"List", json::array({"t", "m", 3})},
                                         Ignored{"Text", "m"}, Ignored{"Null", nullptr}),
                         [](const auto& each) { return each.param.name; });

TEST_F(InputInjectorTest, UnknownKindsPostNothing) {
  for (const char* kind : {"", "M", "Key", "keys", "mm", " m", "unlock ", "x"}) {
    EXPECT_THAT(injectedBy(json{{"t", kind}, {"s", "a"}, {"pw", "a"}}.dump()), IsEmpty()) << kind;
  }
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

TEST_F(InputInjectorTest, TheFirstMessageReportsTrustOnce) {
  viewerSends(R"({})");
  EXPECT_THAT(diagnostics, IsEmpty());
  viewerSends(R"({"t":"nonsense"})");
  EXPECT_THAT(diagnostics, ElementsAre("accessibility-trusted=true"));
  permissions.trusted = false;
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, SizeIs(1));
}

TEST_F(InputInjectorTest, MissingTrustIsReportedBeforeTheFirstEvent) {
  permissions.trusted = false;
  injector->setOnDiagnostic([&](const std::string& text) {
    EXPECT_THAT(events.events(), IsEmpty());
    diagnostics.push_back(text);
  });
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, ElementsAre("accessibility-trusted=false"));
  EXPECT_THAT(events.events(), SizeIs(1));
}

TEST_F(InputInjectorTest, TrustIsNotReportedLaterWhenNobodyListenedAtFirst) {
  injector->setOnDiagnostic(nullptr);
  viewerSends(R"({"t":"m"})");
  injector->setOnDiagnostic([this](const std::string& text) { diagnostics.push_back(text); });
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, IsEmpty());
}

TEST_F(InputInjectorTest, TheDiagnosticMayEndTheVisit) {
  injector->setOnDiagnostic([this](const std::string&) { injector->releaseHeld(); });
  viewerSends(R"({"t":"p"})");
  EXPECT_THAT(events.events(), IsEmpty());
  EXPECT_EQ(events.settles(), 1);
}

const std::vector<std::string> kEscape = {"key 53 down flags 0x0", "key 53 up flags 0x0"};
const std::vector<std::string> kReturn = {"key 36 down flags 0x0", "key 36 up flags 0x0"};
const std::vector<std::string> kPasswordA = {"text 0061 down key 0 flags 0x0",
                                             "text 0061 up key 0 flags 0x0"};

TEST_F(InputInjectorTest, UnlockWakesTypesAndConfirmsInItsOwnTime) {
  EXPECT_EQ(injectedBy(R"({"t":"unlock","pw":"a"})"), kEscape);
  EXPECT_THAT(power.activities, ElementsAre("Tovalin viewer connected"));
  queue.advance(0.79);
  EXPECT_THAT(events.events(), IsEmpty());
  queue.advance(0.01);
  EXPECT_EQ(events.takeLines(), kPasswordA);
  queue.advance(0.39);
  EXPECT_THAT(events.events(), IsEmpty());
  queue.advance(0.01);
  EXPECT_EQ(events.takeLines(), kReturn);
  EXPECT_EQ(queue.pendingTasks(), 0u);
  EXPECT_EQ(power.activities.size(), 1u);
  EXPECT_EQ(events.settles(), 0);
}

TEST_F(InputInjectorTest, UnlockWithoutAPasswordDoesNothingAtAll) {
  for (const char* message : {R"({"t":"unlock"})", R"({"t":"unlock","pw":""})",
                              R"({"t":"unlock","pw":7})", R"({"t":"unlock","pw":null})"}) {
    EXPECT_THAT(injectedBy(message), IsEmpty()) << message;
  }
  EXPECT_THAT(power.activities, IsEmpty());
  EXPECT_EQ(queue.pendingTasks(), 0u);
}

TEST_F(InputInjectorTest, TwoUnlocksInterleaveTheirSteps) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.5);
  EXPECT_EQ(injectedBy(R"({"t":"unlock","pw":"b"})"), kEscape);
  queue.advance(0.3);  // at 0.8
  EXPECT_EQ(events.takeLines(), kPasswordA);
  queue.advance(0.4);  // at 1.2
  EXPECT_EQ(events.takeLines(), kReturn);
  queue.advance(0.1);  // at 1.3
  EXPECT_THAT(events.takeLines(),
              ElementsAre("text 0062 down key 0 flags 0x0", "text 0062 up key 0 flags 0x0"));
  queue.advance(0.4);  // at 1.7
  EXPECT_EQ(events.takeLines(), kReturn);
}

TEST_F(InputInjectorTest, OtherMessagesDoNotStopAnUnlock) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.4);
  viewerSends(R"({"t":"m"})");
  events.takeLines();
  queue.advance(0.4);
  EXPECT_EQ(events.takeLines(), kPasswordA);
}

TEST_F(InputInjectorTest, UnlockEndsWithTheInjector) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  events.takeLines();
  std::weak_ptr<InputInjector> weak = injector;
  injector.reset();
  EXPECT_TRUE(weak.expired());
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

TEST_F(InputInjectorTest, UnlockDoesNotConfirmAfterTheInjectorsEnd) {
  viewerSends(R"({"t":"unlock","pw":"a"})");
  queue.advance(0.8);
  events.takeLines();
  injector.reset();
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

TEST_F(InputInjectorTest, TheMainDisplayIsChosenOnce) {
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
