// What counts as a message and as a number, and the one diagnostic.

#include "tests/unit/input/input_injector_fixture.h"

namespace tovalin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class InputInjectorMessagesTest : public InputInjectorFixture {};

TEST_F(InputInjectorMessagesTest, FieldsThatAreNotNumbersCountAsZero) {
  for (const char* value : {R"("0.5")", "true", "false", "null", "[1]", R"({"x":1})"}) {
    EXPECT_THAT(injectedBy(std::string(R"({"t":"m","y":0.5,"x":)") + value + "}"),
                ElementsAre("moved button 0 at 100,350 click 1"))
        << value;
  }
}

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

TEST_F(InputInjectorMessagesTest, UnknownKindsPostNothing) {
  for (const char* kind : {"", "M", "Key", "keys", "mm", " m", "unlock ", "x"}) {
    EXPECT_THAT(injectedBy(json{{"t", kind}, {"s", "a"}, {"pw", "a"}}.dump()), IsEmpty()) << kind;
  }
  queue.advance(5);
  EXPECT_THAT(events.events(), IsEmpty());
}

TEST_F(InputInjectorMessagesTest, TheFirstMessageReportsTrustOnce) {
  viewerSends(R"({})");
  EXPECT_THAT(diagnostics, IsEmpty());
  viewerSends(R"({"t":"nonsense"})");
  EXPECT_THAT(diagnostics, ElementsAre("accessibility-trusted=true"));
  permissions.trusted = false;
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, SizeIs(1));
}

TEST_F(InputInjectorMessagesTest, MissingTrustIsReportedBeforeTheFirstEvent) {
  permissions.trusted = false;
  injector->setOnDiagnostic([&](const std::string& text) {
    EXPECT_THAT(events.events(), IsEmpty());
    diagnostics.push_back(text);
  });
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, ElementsAre("accessibility-trusted=false"));
  EXPECT_THAT(events.events(), SizeIs(1));
}

TEST_F(InputInjectorMessagesTest, TrustIsNotReportedLaterWhenNobodyListenedAtFirst) {
  injector->setOnDiagnostic(nullptr);
  viewerSends(R"({"t":"m"})");
  injector->setOnDiagnostic([this](const std::string& text) { diagnostics.push_back(text); });
  viewerSends(R"({"t":"m"})");
  EXPECT_THAT(diagnostics, IsEmpty());
}

TEST_F(InputInjectorMessagesTest, TheDiagnosticMayEndTheVisit) {
  injector->setOnDiagnostic([this](const std::string&) { injector->releaseHeld(); });
  viewerSends(R"({"t":"p"})");
  EXPECT_THAT(events.events(), IsEmpty());
  EXPECT_EQ(events.settles(), 1);
}

}  // namespace
}  // namespace tovalin
