#include "platform/x11/xembed_tray.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_descriptor_watcher.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_tray/tray_manager.h"

namespace tovalin::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kBackground = 0x204060;

// A plain square in a colour of its symbol's own, see-through in its left half.
IconPicture paintSquare(std::string_view symbol, int size) {
  const uint32_t colour = symbol == "red" ? 0xff0000 : 0x00ff00;
  IconPicture picture{size, std::vector<uint32_t>(static_cast<size_t>(size * size), 0)};
  for (int y = 0; y < size; ++y) {
    for (int x = size / 2; x < size; ++x) {
      picture.pixels[static_cast<size_t>(y * size + x)] = 0xff000000 | colour;
    }
  }
  return picture;
}

class XembedTrayTest : public testing::Test {
 protected:
  void makeIcon(const std::string& symbol = "red") {
    TrayActions actions;
    actions.activated = [this](const auto& area) { activations_.push_back(area); };
    actions.shownChanged = [this] { shownChanges_.push_back(icon_ && icon_->isShown()); };
    icon_ = icons_->makeTrayIcon(std::move(actions));
    icon_->update({symbol, "Waiting", {}});
  }
  void startTray(TrayManager::Options options = {}) {
    options.background = kBackground;
    tray_ = std::make_unique<TrayManager>(loop_, server_.display(), options);
  }

  // Turns the loop until it comes true, for as long as anything happens.
  bool becomesTrue(const std::function<bool()>& condition) {
    return loop_.runUntil([&] {
      queue_.run();
      return condition();
    });
  }
  bool becomesShown(bool shown = true) {
    return becomesTrue([&] { return icon_->isShown() == shown; });
  }
  // The tray shows that many pixels of that colour, and nothing but its background beside them.
  // `all`: how many pixels are painted in any colour, when these are not the only ones.
  bool becomesPainted(uint32_t colour, int count, std::optional<int> all = std::nullopt) {
    // The server tells nobody what it has painted, so every turn ends with a look.
    for (int turn = 0; turn < 20'000; ++turn) {
      loop_.runReady();
      queue_.run();
      const auto pixels = tray_->pixels();
      const auto painted = std::count(pixels.begin(), pixels.end(), colour);
      if (painted == count && tray_->paintedPixels() == all.value_or(count)) return true;
    }
    return false;
  }
  // Lets everything happen that is on its way.
  void settle() {
    for (int turn = 0; turn < 20; ++turn) {
      if (tray_) tray_->pixels();
      loop_.runReady();
      queue_.run();
    }
  }

  Xvfb server_{"300x200x24"};
  fake::FakeMainQueue queue_;
  fake::FakeDescriptorWatcher loop_;
  std::unique_ptr<TrayIcons> icons_ =
      makeXembedTrayIcons(queue_, loop_, paintSquare, server_.display());
  std::unique_ptr<TrayManager> tray_;
  std::unique_ptr<TrayIcon> icon_;
  std::vector<std::optional<TrayArea>> activations_;
  std::vector<bool> shownChanges_;
};

TEST_F(XembedTrayTest, WithoutATrayItIsNotShownAndSaysSo) {
  makeIcon();
  EXPECT_TRUE(becomesTrue([&] { return !shownChanges_.empty(); }));
  EXPECT_THAT(shownChanges_, ElementsAre(false));
  EXPECT_FALSE(icon_->isShown());
  EXPECT_THAT(viewableTopLevels(X11Connection(server_.display())), IsEmpty());
}

TEST_F(XembedTrayTest, ATrayTakesItIn) {
  startTray();
  makeIcon();
  EXPECT_TRUE(becomesShown());
  EXPECT_TRUE(becomesPainted(0xff0000, 24 * 12));
  EXPECT_TRUE(tray_->showsIcon());
  EXPECT_THAT(shownChanges_, ElementsAre(true));
}

TEST_F(XembedTrayTest, ATrayMayAskForAnAlphaChannel) {
  startTray({.argb = true});
  makeIcon();
  EXPECT_TRUE(becomesShown());
  // Without a compositor a window of another depth hides what is below: its own black shows.
  EXPECT_TRUE(becomesPainted(0xff0000, 24 * 12, 24 * 24));
  EXPECT_THAT(tray_->pixels(), Contains(0x000000).Times(24 * 12));
}

TEST_F(XembedTrayTest, AnotherSymbolIsPaintedInItsPlace) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  icon_->update({"green", "Waiting", {}});
  EXPECT_TRUE(becomesPainted(0x00ff00, 24 * 12));
}

TEST_F(XembedTrayTest, TheTrayChoosesTheSize) {
  startTray({.iconSize = 16});
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 16 * 8));
  tray_->resizeIcons(40);
  EXPECT_TRUE(becomesPainted(0xff0000, 40 * 20));
}

TEST_F(XembedTrayTest, ATrayThatAsksIsToldASize) {
  startTray({.iconSize = 0});
  makeIcon();
  EXPECT_TRUE(becomesPainted(0xff0000, 22 * 11));
}

TEST_F(XembedTrayTest, AClickSaysWhereTheIconIs) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  for (const int button : {1, 3}) {
    activations_.clear();
    tray_->click(button);
    EXPECT_TRUE(becomesTrue([&] { return !activations_.empty(); }));
    EXPECT_THAT(activations_, ElementsAre(TrayArea{tray_->iconX(), tray_->iconY(), 24, 24}));
  }
}

TEST_F(XembedTrayTest, TheWheelAndTheMiddleButtonDoNothing) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  for (const int button : {2, 4, 5, 6, 7}) tray_->click(button);
  tray_->click(1);
  EXPECT_TRUE(becomesTrue([&] { return !activations_.empty(); }));
  settle();
  EXPECT_EQ(activations_.size(), 1u);
}

TEST_F(XembedTrayTest, OnlyAWholeClickOnTheIconCounts) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  tray_->moveToIcon();
  tray_->press(1);
  settle();
  EXPECT_THAT(activations_, IsEmpty()) << "the button is still down";
  tray_->moveAway();
  tray_->release(1);
  settle();
  EXPECT_THAT(activations_, IsEmpty()) << "let go elsewhere";
  tray_->press(1);
  tray_->moveToIcon();
  tray_->release(1);
  settle();
  EXPECT_THAT(activations_, IsEmpty()) << "pressed elsewhere";
}

TEST_F(XembedTrayTest, ATrayThatComesLaterTakesItIn) {
  makeIcon();
  ASSERT_TRUE(becomesTrue([&] { return !shownChanges_.empty(); }));
  startTray();
  EXPECT_TRUE(becomesShown());
  EXPECT_TRUE(becomesPainted(0xff0000, 24 * 12));
  EXPECT_THAT(shownChanges_, ElementsAre(false, true));
}

TEST_F(XembedTrayTest, WhenTheTrayCrashesItWaitsForTheNext) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesShown());
  for (int round = 0; round < 3; ++round) {
    tray_.reset();
    EXPECT_TRUE(becomesShown(false));
    startTray();
    EXPECT_TRUE(becomesShown());
    EXPECT_TRUE(becomesPainted(0xff0000, 24 * 12));
  }
  EXPECT_THAT(shownChanges_, ElementsAre(true, false, true, false, true, false, true));
}

TEST_F(XembedTrayTest, AnIconSavedFromACrashDoesNotStayOnTheDesktop) {
  startTray({.savesIcons = true});
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  tray_.reset();
  EXPECT_TRUE(becomesShown(false));
  EXPECT_THAT(viewableTopLevels(X11Connection(server_.display())), IsEmpty());
  startTray();
  EXPECT_TRUE(becomesPainted(0xff0000, 24 * 12));
}

TEST_F(XembedTrayTest, AnotherTrayThatTakesOverTakesItIn) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesShown());
  const auto first = std::move(tray_);
  startTray();
  EXPECT_TRUE(becomesTrue([&] { return tray_->showsIcon() && icon_->isShown(); }));
  EXPECT_FALSE(first->showsIcon());
}

TEST_F(XembedTrayTest, TheIconLeavesTheTrayWithItsOwner) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesPainted(0xff0000, 24 * 12));
  icon_.reset();
  settle();
  EXPECT_EQ(tray_->paintedPixels(), 0);
  EXPECT_EQ(loop_.watches(), 1u) << "the tray's own";
}

TEST_F(XembedTrayTest, ALostServerIsALostTray) {
  startTray();
  makeIcon();
  ASSERT_TRUE(becomesShown());
  tray_.reset();
  server_.kill();
  EXPECT_TRUE(becomesShown(false));
  icon_->update({"green", "Waiting", {}});
  queue_.run();
  EXPECT_EQ(loop_.watches(), 0u);
}

TEST_F(XembedTrayTest, WithoutAServerOrItsRenderingThereIsNoIcon) {
  Xvfb plain("300x200x24", {"-extension", "RENDER"});
  for (const auto& display : {std::string(":59999"), plain.display()}) {
    shownChanges_.clear();
    icons_ = makeXembedTrayIcons(queue_, loop_, paintSquare, display);
    makeIcon();
    queue_.run();
    EXPECT_THAT(shownChanges_, ElementsAre(false)) << display;
  }
}

}  // namespace
}  // namespace tovalin::test
