#include "platform/qtquick/desktop_windows.h"

#include <utility>

#include "platform/qtquick/indicator_window.h"
#include "platform/qtquick/menu_panel.h"
#include "platform/qtquick/pairing_panel.h"
#include "platform/qtquick/quick_scene.h"

namespace tovalin {
namespace {

class DesktopMenu : public Menu {
 public:
  DesktopMenu(QuickScene& scene, MenuActions actions) : panel_(scene, std::move(actions)) {}

  void update(const MenuContent& content) override { panel_.update(content); }
  void openPanel() override { panel_.open(std::nullopt); }
  bool hasTrayIcon() const override { return false; }

 private:
  MenuPanel panel_;
};

class DesktopWindows : public Windows {
 public:
  explicit DesktopWindows(SystemLog& log) : scene_(log) {}

  std::unique_ptr<Menu> makeMenu(MenuActions actions) override {
    return std::make_unique<DesktopMenu>(scene_, std::move(actions));
  }
  std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) override {
    return std::make_unique<PairingPanel>(scene_, std::move(actions));
  }
  std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                std::function<void()> disconnect) override {
    return makeIndicatorWindow(scene_.style(), content, std::move(disconnect));
  }

 private:
  QuickScene scene_;
};

}  // namespace

std::unique_ptr<Windows> makeDesktopWindows(SystemLog& log) {
  return std::make_unique<DesktopWindows>(log);
}

}  // namespace tovalin
