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
  std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                std::function<void()> disconnect) override {
    ++indicatorsMade;
    indicator = content;
    pressDisconnect = std::move(disconnect);
    return std::make_unique<FakeIndicator>(*this);
  }

  MenuActions menuActions;
  MenuContent menu;
  bool trayIconShown = true;
  int panelsOpened = 0;
  PairingActions pairingActions;
  PairingContent pairing;
  bool pairingVisible = false;
  int pairingWindowsMade = 0;
  IndicatorContent indicator;
  std::function<void()> pressDisconnect;
  int indicatorsMade = 0;
  int indicatorsOnScreen = 0;

 private:
  struct FakeMenu : Menu {
    explicit FakeMenu(FakeWindows& owner) : all(owner) {}
    void update(const MenuContent& content) override { all.menu = content; }
    void openPanel() override { ++all.panelsOpened; }
    bool hasTrayIcon() const override { return all.trayIconShown; }
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
