#include "ui/mirrored_windows.h"

#include <utility>

namespace tovalin {
namespace {

struct MirroredMenu : Menu {
  MirroredMenu(std::unique_ptr<Menu> one, std::unique_ptr<Menu> other)
      : first(std::move(one)), second(std::move(other)) {}
  void update(const MenuContent& content) override {
    first->update(content);
    second->update(content);
  }
  void openPanel() override { first->openPanel(); }
  bool hasTrayIcon() const override { return first->hasTrayIcon() || second->hasTrayIcon(); }

  const std::unique_ptr<Menu> first;
  const std::unique_ptr<Menu> second;
};

struct MirroredPairingWindow : PairingWindow {
  MirroredPairingWindow(std::unique_ptr<PairingWindow> one, std::unique_ptr<PairingWindow> other)
      : first(std::move(one)), second(std::move(other)) {}
  void update(const PairingContent& content) override {
    first->update(content);
    second->update(content);
  }
  void orderFront() override {
    first->orderFront();
    second->orderFront();
  }
  void orderOut() override {
    first->orderOut();
    second->orderOut();
  }

  const std::unique_ptr<PairingWindow> first;
  const std::unique_ptr<PairingWindow> second;
};

struct MirroredIndicator : IndicatorPanel {
  MirroredIndicator(std::unique_ptr<IndicatorPanel> one, std::unique_ptr<IndicatorPanel> other)
      : first(std::move(one)), second(std::move(other)) {}

  const std::unique_ptr<IndicatorPanel> first;
  const std::unique_ptr<IndicatorPanel> second;
};

}  // namespace

MirroredWindows::MirroredWindows(std::unique_ptr<Windows> first, std::unique_ptr<Windows> second)
    : first_(std::move(first)), second_(std::move(second)) {}

std::unique_ptr<Menu> MirroredWindows::makeMenu(MenuActions actions) {
  auto one = first_->makeMenu(actions);
  return std::make_unique<MirroredMenu>(std::move(one), second_->makeMenu(std::move(actions)));
}

std::unique_ptr<PairingWindow> MirroredWindows::makePairingWindow(PairingActions actions) {
  auto one = first_->makePairingWindow(actions);
  return std::make_unique<MirroredPairingWindow>(std::move(one),
                                                 second_->makePairingWindow(std::move(actions)));
}

std::unique_ptr<IndicatorPanel> MirroredWindows::makeIndicator(const IndicatorContent& content,
                                                               std::function<void()> disconnect) {
  auto one = first_->makeIndicator(content, disconnect);
  return std::make_unique<MirroredIndicator>(
      std::move(one), second_->makeIndicator(content, std::move(disconnect)));
}

}  // namespace tovalin
