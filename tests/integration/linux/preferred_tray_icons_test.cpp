#include "platform/linux/preferred_tray_icons.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_tray_icons.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PreferredTrayIconsTest : public testing::Test {
 protected:
  PreferredTrayIconsTest() {
    auto preferred = std::make_unique<fake::FakeTrayIcons>();
    auto otherwise = std::make_unique<fake::FakeTrayIcons>();
    preferred_ = preferred.get();
    otherwise_ = otherwise.get();
    icons_ = makePreferredTrayIcons(std::move(preferred), std::move(otherwise));
    TrayActions actions;
    actions.activated = [this](const auto& area) { activations_.push_back(area); };
    actions.shownChanged = [this] { shownChanges_.push_back(icon_->isShown()); };
    icon_ = icons_->makeTrayIcon(std::move(actions));
    icon_->update(content_);
  }

  const TrayContent content_ = {"symbol", "tip", "open"};
  fake::FakeTrayIcons* preferred_ = nullptr;
  fake::FakeTrayIcons* otherwise_ = nullptr;
  std::unique_ptr<TrayIcons> icons_;
  std::unique_ptr<TrayIcon> icon_;
  std::vector<std::optional<TrayArea>> activations_;
  std::vector<bool> shownChanges_;
};

TEST_F(PreferredTrayIconsTest, TheOtherIsLeftAloneUntilThePreferredHasSpoken) {
  EXPECT_EQ(preferred_->content, content_);
  EXPECT_EQ(otherwise_->made, 0);
  preferred_->becomesShown(true);
  EXPECT_TRUE(icon_->isShown());
  EXPECT_EQ(otherwise_->made, 0);
  EXPECT_THAT(shownChanges_, ElementsAre(true));
}

TEST_F(PreferredTrayIconsTest, WithoutThePreferredTheOtherShowsTheIcon) {
  preferred_->becomesShown(false);
  EXPECT_FALSE(icon_->isShown());
  EXPECT_THAT(shownChanges_, IsEmpty()) << "the other has not spoken yet";
  EXPECT_EQ(otherwise_->content, content_);
  otherwise_->becomesShown(true);
  EXPECT_TRUE(icon_->isShown());
  EXPECT_THAT(shownChanges_, ElementsAre(true));
}

TEST_F(PreferredTrayIconsTest, WithNeitherItIsNotShown) {
  preferred_->becomesShown(false);
  otherwise_->becomesShown(false);
  EXPECT_FALSE(icon_->isShown());
  EXPECT_THAT(shownChanges_, ElementsAre(false));
}

TEST_F(PreferredTrayIconsTest, ItMovesWhenThePreferredComesAndGoes) {
  preferred_->becomesShown(false);
  otherwise_->becomesShown(true);
  preferred_->becomesShown(true);
  EXPECT_EQ(otherwise_->alive, 0);
  EXPECT_TRUE(icon_->isShown());
  EXPECT_THAT(shownChanges_, ElementsAre(true));
  otherwise_->shown = false;
  preferred_->becomesShown(false);
  EXPECT_EQ(otherwise_->alive, 1);
  EXPECT_FALSE(icon_->isShown());
  otherwise_->becomesShown(true);
  EXPECT_THAT(shownChanges_, ElementsAre(true, false, true));
}

TEST_F(PreferredTrayIconsTest, WhateverShowsTheIconHasTheLatestContent) {
  preferred_->becomesShown(false);
  const TrayContent newer = {"other symbol", "other tip", "open"};
  icon_->update(newer);
  EXPECT_EQ(otherwise_->content, newer);
  preferred_->becomesShown(true);
  EXPECT_EQ(preferred_->content, newer);
}

TEST_F(PreferredTrayIconsTest, ClicksOnEitherCount) {
  preferred_->click(TrayArea{1, 2, 0, 0});
  preferred_->becomesShown(false);
  otherwise_->click(TrayArea{3, 4, 24, 24});
  EXPECT_THAT(activations_, ElementsAre(TrayArea{1, 2, 0, 0}, TrayArea{3, 4, 24, 24}));
}

TEST_F(PreferredTrayIconsTest, BothGoWithTheIcon) {
  preferred_->becomesShown(false);
  icon_.reset();
  EXPECT_EQ(preferred_->alive, 0);
  EXPECT_EQ(otherwise_->alive, 0);
}

}  // namespace
}  // namespace tovalin
