#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/dbus/bus_message.h"
#include "platform/dbus/status_notifier_item.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/private_bus.h"
#include "tests/integration/dbus/test_loop.h"
#include "tests/integration/dbus/tray_host.h"

namespace tovalin::test {

inline constexpr const char* kItem = "org.kde.StatusNotifierItem";
inline constexpr const char* kItemPath = "/StatusNotifierItem";
inline constexpr const char* kMenu = "com.canonical.dbusmenu";
inline constexpr const char* kMenuPath = "/MenuBar";

// One colour a symbol, and a first pixel that tells the bytes' order.
inline IconPicture paint(std::string_view symbol, int size) {
  const uint32_t colour = symbol == "one" ? 0xff102030 : 0xff405060;
  IconPicture picture{size, std::vector<uint32_t>(static_cast<size_t>(size * size), colour)};
  picture.pixels.front() = 0x01020304;
  return picture;
}

struct Pixmap {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;
};

class StatusNotifierItemTest : public testing::Test {
 protected:
  void makeIcon() {
    TrayActions actions;
    actions.activated = [this](const auto& area) { activations_.push_back(area); };
    actions.shownChanged = [this] { shownChanges_.push_back(icon_->isShown()); };
    icon_ = icons_->makeTrayIcon(std::move(actions));
    icon_->update({"one", "Waiting for a viewer…", "Open Tovalin Host"});
  }
  // With a tray from the beginning.
  void showIcon() {
    host_.startWatcher();
    makeIcon();
    ASSERT_TRUE(becomesShown());
  }
  bool becomesShown(bool shown = true) {
    return loop_.runUntil([&] { return icon_->isShown() == shown; });
  }
  bool becomesActivated() {
    return loop_.runUntil([&] { return !activations_.empty(); });
  }

  std::string text(const char* interface, const char* path, const char* name) {
    const auto answer = host_.property(interface, path, name);
    if (!answer || !enterVariant(answer.get(), "s")) return "(none)";
    return readString(answer.get()).value_or("(none)");
  }
  std::vector<Pixmap> pixmaps() {
    const auto answer = host_.property(kItem, kItemPath, "IconPixmap");
    std::vector<Pixmap> found;
    if (!answer || !enterVariant(answer.get(), "a(iiay)")) return found;
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'a', "(iiay)"), 0);
    while (sd_bus_message_enter_container(answer.get(), 'r', "iiay") > 0) {
      Pixmap pixmap;
      const void* bytes = nullptr;
      size_t count = 0;
      EXPECT_GT(sd_bus_message_read(answer.get(), "ii", &pixmap.width, &pixmap.height), 0);
      EXPECT_GE(sd_bus_message_read_array(answer.get(), 'y', &bytes, &count), 0);
      const auto* first = static_cast<const uint8_t*>(bytes);
      pixmap.bytes.assign(first, first + count);
      found.push_back(std::move(pixmap));
      sd_bus_message_exit_container(answer.get());
    }
    return found;
  }
  void callItem(const char* member, int x, int y) {
    EXPECT_TRUE(host_.call(kItem, kItemPath, member,
                           [&](sd_bus_message* call) { sd_bus_message_append(call, "ii", x, y); }));
  }

  PrivateBus daemon_;
  TestLoop loop_;
  fake::FakeSystemLog log_;
  TrayHost host_{loop_, daemon_.address(), log_};
  Bus bus_{"session bus", daemon_.address(), loop_.queue, loop_, log_};
  std::unique_ptr<TrayIcons> icons_ = makeStatusNotifierIcons(bus_, paint);
  std::unique_ptr<TrayIcon> icon_;
  std::vector<std::optional<TrayArea>> activations_;
  std::vector<bool> shownChanges_;
};

}  // namespace tovalin::test
