#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/tray_icon.h"

namespace tovalin::fake {

// A desktop's tray, open to the test. It knows the latest icon.
class FakeTrayIcons : public TrayIcons {
 public:
  std::unique_ptr<TrayIcon> makeTrayIcon(TrayActions actions) override {
    ++made;
    ++alive;
    content = {};
    actions_ = std::move(actions);
    return std::make_unique<FakeTrayIcon>(*this);
  }

  // The tray takes the icon, or says that it is not there.
  void becomesShown(bool isShown) {
    shown = isShown;
    if (alive > 0 && actions_.shownChanged) actions_.shownChanged();
  }
  void click(const std::optional<TrayArea>& area = std::nullopt) const {
    if (alive > 0 && actions_.activated) actions_.activated(area);
  }

  bool shown = false;
  TrayContent content;
  int made = 0;
  int alive = 0;

 private:
  struct FakeTrayIcon : TrayIcon {
    explicit FakeTrayIcon(FakeTrayIcons& owner) : all(owner) {}
    ~FakeTrayIcon() override { --all.alive; }
    void update(const TrayContent& newContent) override { all.content = newContent; }
    bool isShown() const override { return all.shown; }
    FakeTrayIcons& all;
  };

  TrayActions actions_;
};

}  // namespace tovalin::fake
