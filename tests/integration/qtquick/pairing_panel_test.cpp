#include <gmock/gmock.h>

#include "platform/linux/qr_code_generator.h"
#include "platform/qt/qt_url.h"
#include "tests/integration/qtquick/desktop_fixture.h"
#include "tests/integration/support/screen_codes.h"
#include "ui/pairing_code.h"

namespace tovalin::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

PairingContent permissionsStep() {
  return {.step = PairingStep::permissions,
          .symbol = "laptopcomputer.and.iphone",
          .title = "Let's connect this Mac",
          .subtitle = "Tovalin needs two permissions — macOS will ask just once.",
          .permissions = {{Permission::screenRecording, true, "checkmark.circle.fill",
                           "Screen Recording", "so Tovalin can show this Mac on your phone", ""},
                          {Permission::accessibility, false, "circle", "Accessibility",
                           "so you can click and type from your phone", "Allow…"}},
          .footnote = "Tovalin notices the moment you allow each one.",
          .close = "Close"};
}

PairingContent waiting() {
  return {.step = PairingStep::connect,
          .symbol = "laptopcomputer.and.iphone",
          .title = "Connect your phone",
          .subtitle = "Open Tovalin on your iPhone and scan this code — or type the PIN.",
          .waiting = "Getting your PIN…",
          .newPin = "New PIN",
          .close = "Close"};
}

PairingContent withPin(const std::string& pinText, const std::optional<QrModules>& code) {
  auto content = waiting();
  content.waiting.clear();
  content.pin = content.pinText = pinText;
  content.qrCode = code;
  content.footnote = "This PIN works once and expires in 10 minutes.";
  return content;
}

PairingContent done() {
  return {.step = PairingStep::done,
          .symbol = "checkmark.circle.fill",
          .title = "Ada's phone is connected",
          .subtitle = "This Mac is ready. You can now see and control it from your phone.",
          .close = "Done",
          .closeIsDefault = true};
}

class PairingPanelTest : public DesktopFixture {
 protected:
  explicit PairingPanelTest(double scale = 1) : DesktopFixture(scale) {
    const auto press = [this](const std::string& name) {
      return [this, name] { pressed_.push_back(name); };
    };
    window_ = windows_->makePairingWindow(
        {.allow =
             [this](Permission permission) {
               pressed_.push_back(permission == Permission::accessibility ? "allow accessibility"
                                                                          : "allow screen");
             },
         .newPin = press("newPin"),
         .close = press("close")});
  }
  ~PairingPanelTest() override { window_.reset(); }

  QQuickWindow& show(const PairingContent& content) {
    window_->update(content);
    window_->orderFront();
    EXPECT_TRUE(becomesTrue([this] {
      auto* window = windowTitled("Tovalin");
      return window != nullptr && window->isActive() && window->isExposed() &&
             client_.focus() == window->winId();
    }));
    return *windowTitled("Tovalin");
  }
  static bool isShown() { return windowTitled("Tovalin") != nullptr; }

  // The code that the window shows for a computer of that name, read off the screen.
  void expectReadable(const std::string& name, const std::string& payload) {
    const auto urls = makeQtUrlParser();
    const auto generator = makeQrCodeGenerator();
    PairingCode code(*urls, *generator);
    const auto modules = code.qrImage("7C1B9A52-0D5E-4E0B-9B7A-6D3F0B2C8E41",
                                      "0123456789abcdef0123456789abcdef", name);
    ASSERT_TRUE(modules);
    show(withPin("1  2  3  4  5  6", modules));
    const Screenshot shot = settledScreen();
    EXPECT_THAT(screenCodes(shot.pixels, shot.width, shot.height), ElementsAre(payload)) << name;
  }

  std::vector<std::string> pressed_;
  std::unique_ptr<PairingWindow> window_;
};

class PairingPanelAtDoubleScaleTest : public PairingPanelTest {
 protected:
  PairingPanelAtDoubleScaleTest() : PairingPanelTest(2) {}
};

const std::string kStart =
    "tovalin://pair?host=7C1B9A52-0D5E-4E0B-9B7A-6D3F0B2C8E41&token="
    "0123456789abcdef0123456789abcdef&name=";

TEST_F(PairingPanelTest, CodeOnTheScreenCarriesEveryNameWhole) {
  expectReadable("studio", kStart + "studio");
  expectReadable("Ada & Grace's Mac mini", kStart + "Ada%20%26%20Grace%27s%20Mac%20mini");
  expectReadable("Büro Müller", kStart + "B%C3%BCro%20M%C3%BCller");
  expectReadable("书房的电脑", kStart + "%E4%B9%A6%E6%88%BF%E7%9A%84%E7%94%B5%E8%84%91");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PairingPanelAtDoubleScaleTest, CodeOnTheScreenCarriesEveryNameWhole) {
  expectReadable("Ada & Grace's Mac mini", kStart + "Ada%20%26%20Grace%27s%20Mac%20mini");
  expectReadable("书房的电脑", kStart + "%E4%B9%A6%E6%88%BF%E7%9A%84%E7%94%B5%E8%84%91");
}

TEST_F(PairingPanelTest, FollowsTheDesktopIntoTheDarkAndTheCodeStaysReadable) {
  constexpr uint32_t kLight = 0xF7F7F9;
  constexpr uint32_t kDark = 0x28292D;
  auto& window = show(waiting());
  const auto background = [&] {
    const QPoint corner = window.mapToGlobal(QPoint(12, 12));
    return client_.screenshot().at(corner.x(), corner.y());
  };
  EXPECT_TRUE(becomesTrue([&] { return background() == kLight; }));
  appearance_.change(ColorScheme::dark);
  EXPECT_TRUE(becomesTrue([&] { return background() == kDark; }));
  expectReadable("studio", kStart + "studio");
  appearance_.change(std::nullopt);
  EXPECT_TRUE(becomesTrue([&] { return background() == kLight; }));
}

TEST_F(PairingPanelTest, HasItsSizeInEveryStepAndCannotBeResized) {
  for (const auto& content :
       {waiting(), permissionsStep(), withPin("8  8  8  8  8  8", QrModules{1, {true}}), done()}) {
    auto& window = show(content);
    EXPECT_TRUE(becomesTrue([&] { return window.size() == QSize(340, 470); }))
        << content.title << ": " << window.height();
    EXPECT_EQ(window.minimumSize(), window.maximumSize());
  }
}

TEST_F(PairingPanelTest, EveryButtonRunsItsAction) {
  auto& window = show(permissionsStep());
  clickOn(*control(window, "Allow…"));
  EXPECT_TRUE(becomesTrue([this] { return pressed_.size() == 1; }));
  window_->update(withPin("1  2  3", std::nullopt));
  settledScreen();
  clickOn(*control(window, "New PIN"));
  EXPECT_TRUE(becomesTrue([this] { return pressed_.size() == 2; }));
  clickOn(*control(window, "Close"));
  EXPECT_TRUE(becomesTrue([this] { return pressed_.size() == 3; }));
  EXPECT_THAT(pressed_, ElementsAre("allow accessibility", "newPin", "close"));
}

TEST_F(PairingPanelTest, ReturnPressesDoneAndNothingOnTheOtherSteps) {
  show(withPin("1  2  3", std::nullopt));
  client_.type(kReturnKey);
  settledScreen();
  EXPECT_THAT(pressed_, IsEmpty());
  window_->update(done());
  client_.type(kReturnKey);
  EXPECT_TRUE(becomesTrue([this] { return !pressed_.empty(); }));
  EXPECT_THAT(pressed_, ElementsAre("close"));
}

TEST_F(PairingPanelTest, CloseBoxHidesAndPressesNothing) {
  auto& window = show(waiting());
  window.close();
  EXPECT_TRUE(becomesTrue([] { return !isShown(); }));
  EXPECT_THAT(pressed_, IsEmpty());
  EXPECT_EQ(&show(waiting()), &window);
}

TEST_F(PairingPanelTest, ANewPinRollsItsDigitsInPlace) {
  auto& window = show(withPin("1  2  3  4  5  6", std::nullopt));
  settledScreen();
  const auto rolling = [&window] {
    int count = 0;
    for (const QQuickItem* item : visibleItems(window)) {
      if (item->property("rolling").toBool()) ++count;
    }
    return count;
  };
  EXPECT_EQ(rolling(), 0);
  window_->update(withPin("9  2  3  4  5  8", std::nullopt));
  EXPECT_EQ(rolling(), 2) << "only the digits that change";
  EXPECT_TRUE(becomesTrue([&] { return rolling() == 0; }));
}

TEST_F(PairingPanelTest, APressedButtonKeepsTheKeyboard) {
  auto& window = show(waiting());
  client_.type(kTabKey);
  const auto focused = [&window] {
    const auto* item = window.activeFocusItem();
    return item == nullptr ? std::string() : item->property("text").toString().toStdString();
  };
  ASSERT_TRUE(becomesTrue([&] { return focused() == "New PIN"; }));
  client_.type(kSpaceKey);
  ASSERT_TRUE(becomesTrue([this] { return pressed_.size() == 1; }));
  window_->update(withPin("1  2  3  4  5  6", std::nullopt));
  EXPECT_EQ(focused(), "New PIN");
  client_.type(kTabKey);
  EXPECT_TRUE(becomesTrue([&] { return focused() == "Close"; }));
}

TEST_F(PairingPanelTest, NoTextIsClippedInAnyStepWithAFortyPercentLargerFont) {
  for (const double factor : {1.0, 1.4}) {
    setFontScale(factor);
    for (const auto& content : {permissionsStep(), waiting(),
                                withPin("8  8  8  8  8  8", QrModules{1, {true}}), done()}) {
      auto& window = show(content);
      // A turning wheel never rests.
      if (content.waiting.empty()) settledScreen();
      EXPECT_THAT(clippedTexts(window), IsEmpty()) << factor << " " << content.title;
    }
  }
}

}  // namespace
}  // namespace tovalin::test
