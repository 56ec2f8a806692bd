#include "platform/linux/virtual_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>

namespace tovalin {
namespace {

TEST(VirtualKeysTest, EveryKeyHasAPlaceOfItsOwn) {
  std::set<uint16_t> places;
  for (const auto& key : virtualKeys()) {
    EXPECT_EQ(evdevCode(key.code), key.evdev);
    EXPECT_TRUE(places.insert(key.evdev).second) << key.code << " shares " << key.evdev;
  }
  EXPECT_EQ(places.size(), 120u);
}

TEST(VirtualKeysTest, PlacesOfEveryGroupAreRight) {
  const VirtualKey cases[] = {
      {0, KEY_A},           {6, KEY_Z},           {16, KEY_Y},         {46, KEY_M},
      {18, KEY_1},          {22, KEY_6},          {23, KEY_5},         {29, KEY_0},
      {27, KEY_MINUS},      {24, KEY_EQUAL},      {33, KEY_LEFTBRACE}, {30, KEY_RIGHTBRACE},
      {42, KEY_BACKSLASH},  {39, KEY_APOSTROPHE}, {10, KEY_102ND},     {50, KEY_GRAVE},
      {93, KEY_YEN},        {94, KEY_RO},         {95, KEY_KPCOMMA},   {102, KEY_HANJA},
      {104, KEY_HANGEUL},   {82, KEY_KP0},        {92, KEY_KP9},       {76, KEY_KPENTER},
      {71, KEY_NUMLOCK},    {81, KEY_KPEQUAL},    {122, KEY_F1},       {111, KEY_F12},
      {105, KEY_F13},       {90, KEY_F20},        {126, KEY_UP},       {125, KEY_DOWN},
      {123, KEY_LEFT},      {124, KEY_RIGHT},     {115, KEY_HOME},     {119, KEY_END},
      {116, KEY_PAGEUP},    {121, KEY_PAGEDOWN},  {117, KEY_DELETE},   {114, KEY_INSERT},
      {36, KEY_ENTER},      {48, KEY_TAB},        {49, KEY_SPACE},     {51, KEY_BACKSPACE},
      {53, KEY_ESC},        {55, KEY_LEFTMETA},   {54, KEY_RIGHTMETA}, {56, KEY_LEFTSHIFT},
      {60, KEY_RIGHTSHIFT}, {57, KEY_CAPSLOCK},   {58, KEY_LEFTALT},   {61, KEY_RIGHTALT},
      {59, KEY_LEFTCTRL},   {62, KEY_RIGHTCTRL},  {63, KEY_FN},        {72, KEY_VOLUMEUP},
      {73, KEY_VOLUMEDOWN}, {74, KEY_MUTE},
  };
  for (const auto& [code, evdev] : cases) EXPECT_EQ(evdevCode(code), evdev) << "for " << code;
}

TEST(VirtualKeysTest, UnknownCodesHaveNoPlace) {
  for (const uint16_t code : {52, 66, 68, 70, 77, 108, 112, 127, 128, 255, 65535}) {
    EXPECT_EQ(evdevCode(code), std::nullopt) << "for " << code;
  }
}

}  // namespace
}  // namespace tovalin
