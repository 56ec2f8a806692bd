#include "platform/linux/preferred_tray_icons.h"

#include <utility>

namespace tovalin {
namespace {

class PreferredTrayIcon : public TrayIcon {
 public:
  PreferredTrayIcon(TrayIcons& preferred, TrayIcons& otherwise, TrayActions actions)
      : actions_(std::move(actions)), others_(otherwise) {
    preferred_ = preferred.makeTrayIcon(
        {.activated = actions_.activated, .shownChanged = [this] { choose(); }});
  }

  void update(const TrayContent& content) override {
    content_ = content;
    preferred_->update(content);
    if (otherwise_) otherwise_->update(content);
  }

  bool isShown() const override {
    return preferred_->isShown() || (otherwise_ && otherwise_->isShown());
  }

 private:
  void choose() {
    if (preferred_->isShown()) {
      otherwise_.reset();
      tell();
    } else if (!otherwise_) {
      otherwise_ = others_.makeTrayIcon(
          {.activated = actions_.activated, .shownChanged = [this] { tell(); }});
      otherwise_->update(content_);
      // It says itself, a little later, whether it is shown; what is certain now is an end.
      if (told_) tell();
    }
  }

  void tell() {
    if (told_ == isShown()) return;
    told_ = isShown();
    if (actions_.shownChanged) actions_.shownChanged();
  }

  const TrayActions actions_;
  TrayIcons& others_;
  TrayContent content_;
  std::optional<bool> told_;
  std::unique_ptr<TrayIcon> preferred_;
  std::unique_ptr<TrayIcon> otherwise_;
};

class PreferredTrayIcons : public TrayIcons {
 public:
  PreferredTrayIcons(std::unique_ptr<TrayIcons> preferred, std::unique_ptr<TrayIcons> otherwise)
      : preferred_(std::move(preferred)), otherwise_(std::move(otherwise)) {}

  std::unique_ptr<TrayIcon> makeTrayIcon(TrayActions actions) override {
    return std::make_unique<PreferredTrayIcon>(*preferred_, *otherwise_, std::move(actions));
  }

 private:
  const std::unique_ptr<TrayIcons> preferred_;
  const std::unique_ptr<TrayIcons> otherwise_;
};

}  // namespace

std::unique_ptr<TrayIcons> makePreferredTrayIcons(std::unique_ptr<TrayIcons> preferred,
                                                  std::unique_ptr<TrayIcons> otherwise) {
  return std::make_unique<PreferredTrayIcons>(std::move(preferred), std::move(otherwise));
}

}  // namespace tovalin
