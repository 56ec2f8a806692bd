#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/linux/settings_text.h"

namespace {

using tovalin::SettingsText;

void require(bool holds) {
  if (!holds) std::abort();
}

// Whatever the file says, it comes back the same, and takes a new value without losing the old.
void check(SettingsText settings, std::string_view value) {
  const auto other = settings.string("tovalin.serverURL");
  const auto flag = settings.boolean("tovalin.hasPairedOnce");
  settings.setString("tovalin.hostId", value);

  const auto again = SettingsText::parse(settings.text());
  const auto* reread = std::get_if<SettingsText>(&again);
  if (reread == nullptr) {
    require(settings.text().size() > tovalin::kSettingsLimitBytes);
    return;
  }
  require(reread->string("tovalin.hostId") == value);
  require(!reread->boolean("tovalin.hostId"));
  require(reread->string("tovalin.serverURL") == other);
  require(reread->boolean("tovalin.hasPairedOnce") == flag);
  require(reread->text() == settings.text());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  check(SettingsText(), input);
  const auto parsed = SettingsText::parse(input);
  if (const auto* settings = std::get_if<SettingsText>(&parsed)) {
    check(*settings, input.substr(0, size / 2));
  }
  return 0;
}
