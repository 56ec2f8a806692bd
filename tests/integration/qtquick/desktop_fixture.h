#pragma once

#include <gtest/gtest.h>

#include <QFont>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/qt_application.h"
#include "platform/qtquick/desktop_windows.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/fakes/fake_system.h"
#include "tests/fakes/fake_tray_icons.h"
#include "tests/integration/qtquick/desktop_client.h"
#include "tests/integration/support/xvfb.h"

namespace tovalin::test {

// The host's real windows on a real desktop of the test's own: an X server with a window manager.
class DesktopFixture : public ::testing::Test {
 protected:
  explicit DesktopFixture(double scale = 1);
  ~DesktopFixture() override;

  // Lets the program run until `condition` holds; false when it has not within half a minute.
  bool becomesTrue(const std::function<bool()>& condition) const;
  // Lets it run until the screen stays as it is, and gives the picture.
  Screenshot settledScreen() const;

  // The host's window of that title on screen; null without one.
  static QQuickWindow* windowTitled(const std::string& title);
  // Every visible item below `window`'s content.
  static std::vector<QQuickItem*> visibleItems(QQuickWindow& window);
  // The visible control with that text; null without one.
  static QQuickItem* control(QQuickWindow& window, const std::string& text);
  // Clicks its middle, as a user would.
  void clickOn(const QQuickItem& item) const;
  // The texts that do not fit: cut off, wider than their place, or beyond their window.
  static std::vector<std::string> clippedTexts(QQuickWindow& window);
  // How much larger than usual the desktop's font is.
  void setFontScale(double factor) const;

  Xvfb server_{"1280x800x24"};
  DesktopClient client_{server_.display()};
  fake::FakeSystemLog log_;
  fake::FakeTrayIcons trays_;
  fake::FakeAppearance appearance_;

 private:
  class WindowManager;
  std::unique_ptr<WindowManager> windowManager_;
  int argumentCount_ = 1;
  char name_[5] = "test";
  std::vector<char*> arguments_ = {name_, nullptr};

 protected:
  std::unique_ptr<QtApplication> application_;
  QFont usualFont_;
  std::unique_ptr<Windows> windows_;
};

}  // namespace tovalin::test
