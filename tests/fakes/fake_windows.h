#pragma once

#include <vector>

#include "platform/windows.h"

namespace tovalin::fake {

// Windows that only remember. What is on screen is in the fields; actions can be pressed.
class FakeWindows : public Windows {
 public:
  std::unique_ptr<Menu> makeMenu(MenuActions actions) override {
    menuActions = std::move(actions);
    return std::make_unique<FakeMenu>(*this);
  }
  std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) override {
    ++pairingWindowsMade;
    pairingActions = std::move(actions);
    return std::make_unique<FakePairingWindow>(*this);
  }
  std::unique_ptr<IndicatorPanel> makeIndicator(std::function<void()> disconnect) override {
    ++indicatorsMade;
    pressDisconnect = std::move(disconnect);
    return std::make_unique<FakeIndicator>(*this);
  }

  MenuActions menuActions;
  MenuContent menu;
  PairingActions pairingActions;
  PairingContent pairing;
  bool pairingVisible = false;
  int pairingWindowsMade = 0;
  std::function<void()> pressDisconnect;
  int indicatorsMade = 0;
  int indicatorsOnScreen = 0;

 private:
  struct FakeMenu : Menu {
    explicit FakeMenu(FakeWindows& owner) : all(owner) {}
    void update(const MenuContent& content) override { all.menu = content; }
    FakeWindows& all;
  };
  struct FakePairingWindow : PairingWindow {
    explicit FakePairingWindow(FakeWindows& owner) : all(owner) {}
    void update(const PairingContent& content) override { all.pairing = content; }
    void orderFront() override { all.pairingVisible = true; }
    void orderOut() override { all.pairingVisible = false; }
    FakeWindows& all;
  };
  struct FakeIndicator : IndicatorPanel {
    explicit FakeIndicator(FakeWindows& owner) : all(owner) { ++all.indicatorsOnScreen; }
    ~FakeIndicator() override { --all.indicatorsOnScreen; }
    FakeWindows& all;
  };
};

}  // namespace tovalin::fake
