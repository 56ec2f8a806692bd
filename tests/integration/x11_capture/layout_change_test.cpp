#include <gtest/gtest.h>

#include "platform/x11/x11_capture_layout.h"

namespace tovalin {
namespace {

const PlacedDisplay kLeft{1, 0, 0, 1920, 1080};
const PlacedDisplay kRight{2, 1920, 0, 1280, 1024};

TEST(LayoutChangeTest, EndsAStreamOnlyWhenItsDisplayIsConcerned) {
  const PlacedDisplay smaller{1, 0, 0, 1280, 720};
  const PlacedDisplay rotated{1, 0, 0, 1080, 1920};
  const PlacedDisplay moved{1, 1280, 0, 1920, 1080};
  const PlacedDisplay third{3, 0, 1080, 800, 600};
  const struct {
    bool streamedIsMain;
    DisplayLayout after;
    const char* why;
  } cases[] = {
      {true, {{kLeft, kRight}, 1}, ""},
      {true, {{kLeft}, 1}, ""},
      {true, {{kLeft, kRight, third}, 1}, ""},
      {false, {{kLeft, kRight}, 2}, ""},
      {true, {{kLeft, kRight}, 2}, "another display became the main one"},
      {true, {{kRight}, 2}, "the display is gone"},
      {true, {{}, 0}, "the display is gone"},
      {true, {{smaller, kRight}, 1}, "the display changed from 1920x1080 to 1280x720"},
      {true, {{rotated, kRight}, 1}, "the display changed from 1920x1080 to 1080x1920"},
      {true, {{moved, kRight}, 1}, "the display was moved"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(whyLayoutEndsStream(kLeft, each.streamedIsMain, each.after), each.why);
  }
}

}  // namespace
}  // namespace tovalin
