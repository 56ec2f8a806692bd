#include "platform/linux/desktop_entry.h"

#include <algorithm>
#include <utility>

#include "platform/linux/lines.h"

namespace tovalin {
namespace {

constexpr std::string_view kGroup = "[Desktop Entry]";

std::string unescaped(std::string_view value) {
  std::string text;
  for (size_t i = 0; i < value.size(); ++i) {
    const char next = i + 1 < value.size() ? value[i + 1] : '\0';
    const std::string_view codes = "sntr\\";
    const size_t code = value[i] == '\\' && next != '\0' ? codes.find(next) : std::string::npos;
    if (code == std::string::npos) {
      text += value[i];
    } else {
      text += " \n\t\r\\"[code];
      i += 1;
    }
  }
  return text;
}

}  // namespace

DesktopEntry::DesktopEntry(std::string_view file) {
  bool inGroup = false;
  while (!file.empty()) {
    const std::string_view whole = takeLine(file);
    const std::string_view line = trimmed(whole);
    Line kept{std::string(whole), {}, {}};
    if (line.starts_with('[')) {
      inGroup = line == kGroup;
    } else if (!line.empty() && !line.starts_with('#')) {
      const size_t equals = line.find('=');
      // GLib, and with it half of the desktops, refuses a whole file for such a line.
      if (equals == std::string_view::npos) continue;
      if (inGroup) {
        kept.key = trimmed(line.substr(0, equals));
        kept.value = trimmed(line.substr(equals + 1));
      }
    }
    lines_.push_back(std::move(kept));
    if (inGroup && !line.empty()) groupEnd_ = lines_.size();
  }
  if (groupEnd_ > 0) return;
  // What has no such group is no desktop entry, and nothing of it is kept.
  lines_ = {{std::string(kGroup), {}, {}}};
  groupEnd_ = 1;
}

std::optional<std::string> DesktopEntry::rawValue(std::string_view key) const {
  const auto found = std::find_if(lines_.rbegin(), lines_.rend(),
                                  [key](const Line& line) { return line.key == key; });
  return found == lines_.rend() ? std::nullopt : std::optional(found->value);
}

std::optional<std::string> DesktopEntry::value(std::string_view key) const {
  const auto raw = rawValue(key);
  return raw ? std::optional(unescaped(*raw)) : std::nullopt;
}

std::optional<bool> DesktopEntry::boolean(std::string_view key) const {
  const auto raw = rawValue(key);
  // The numbers are from an older edition of the format, and still understood.
  if (raw == "true" || raw == "1") return true;
  if (raw == "false" || raw == "0") return false;
  return std::nullopt;
}

std::vector<std::string> DesktopEntry::list(std::string_view key) const {
  return partsOf(value(key).value_or(""), ';');
}

void DesktopEntry::setRawValue(std::string_view key, std::string_view value) {
  Line line{std::string(key) + "=" + std::string(value), std::string(key), std::string(value)};
  const auto last = std::find_if(lines_.rbegin(), lines_.rend(),
                                 [key](const Line& each) { return each.key == key; });
  if (last != lines_.rend()) {
    *last = std::move(line);
    return;
  }
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(groupEnd_), std::move(line));
  groupEnd_ += 1;
}

void DesktopEntry::setList(std::string_view key, const std::vector<std::string>& parts) {
  std::string value;
  for (const auto& part : parts) value += part + ";";
  setRawValue(key, value);
}

void DesktopEntry::remove(std::string_view key) {
  const auto isKey = [key](const Line& line) { return line.key == key; };
  const auto groupEnd = lines_.begin() + static_cast<std::ptrdiff_t>(groupEnd_);
  groupEnd_ -= static_cast<size_t>(std::count_if(lines_.begin(), groupEnd, isKey));
  std::erase_if(lines_, isKey);
}

std::vector<std::string> DesktopEntry::keys() const {
  std::vector<std::string> keys;
  for (const auto& line : lines_) {
    if (!line.key.empty()) keys.push_back(line.key);
  }
  return keys;
}

bool DesktopEntry::hasMoreThanKeys() const {
  return std::any_of(lines_.begin(), lines_.end(), [](const Line& line) {
    const auto text = trimmed(line.text);
    return line.key.empty() && !text.empty() && text != kGroup;
  });
}

std::string DesktopEntry::text() const {
  std::string text;
  for (const auto& line : lines_) text += line.text + "\n";
  return text;
}

std::string escapedValue(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const size_t code = std::string_view("\n\t\r\\").find(c);
    if (code == std::string_view::npos) {
      escaped += c;
    } else {
      escaped += {'\\', "ntr\\"[code]};
    }
  }
  return escaped;
}

}  // namespace tovalin
