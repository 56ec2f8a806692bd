#include "platform/linux/settings_text.h"

#include <algorithm>
#include <utility>

#include "platform/linux/lines.h"
#include "platform/linux/utf8.h"

namespace tovalin {
namespace {

constexpr std::string_view kGeneral = "[General]";

bool isBooleanWord(std::string_view value) {
  return value == "true" || value == "false";
}

std::string escaped(std::string_view value) {
  std::string text;
  for (std::string_view rest = value; !rest.empty();) {
    const size_t length = utf8SequenceLength(rest);
    const bool atEdge = rest.size() == value.size() || rest.size() == 1;
    if (rest[0] == '\n') {
      text += "\\n";
    } else if (rest[0] == '\\') {
      text += "\\\\";
    } else if (length == 0 || (length == 1 && (rest[0] < ' ' || rest[0] == 0x7F)) ||
               (rest[0] == ' ' && atEdge)) {
      text += escapedByte(rest[0]);
    } else {
      text += rest.substr(0, length);
    }
    rest.remove_prefix(std::max<size_t>(length, 1));
  }
  return isBooleanWord(text) ? escapedByte(text[0]) + text.substr(1) : text;
}

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// A backslash that begins no escape is itself: people do write such values by hand.
std::string unescaped(std::string_view value) {
  std::string text;
  for (size_t i = 0; i < value.size(); ++i) {
    const char next = i + 1 < value.size() ? value[i + 1] : '\0';
    if (value[i] == '\\' && (next == '\\' || next == 'n')) {
      text += next == 'n' ? '\n' : '\\';
      i += 1;
    } else if (value[i] == '\\' && next == 'x' && i + 3 < value.size() &&
               hexDigit(value[i + 2]) >= 0 && hexDigit(value[i + 3]) >= 0) {
      text += static_cast<char>(hexDigit(value[i + 2]) * 16 + hexDigit(value[i + 3]));
      i += 3;
    } else {
      text += value[i];
    }
  }
  return text;
}

Error damage(size_t lineNumber, std::string_view what) {
  return {"line " + std::to_string(lineNumber) + " " + std::string(what)};
}

}  // namespace

std::variant<SettingsText, Error> SettingsText::parse(std::string_view file) {
  if (file.size() > kSettingsLimitBytes) return Error{"it is longer than 1 MiB"};
  if (file.find('\0') != std::string_view::npos) return Error{"it holds NUL bytes"};
  if (!isUtf8(file)) return Error{"it is not UTF-8 text"};

  SettingsText settings;
  bool anyHeader = false;
  bool anyGeneral = false;
  bool general = false;
  while (!file.empty()) {
    Line line{std::string(takeLine(file)), general, {}, {}};
    const std::string_view content = trimmed(line.text);
    const size_t number = settings.lines_.size() + 1;
    if (content.starts_with('[')) {
      if (!content.ends_with(']')) return damage(number, "is a header without its end");
      anyHeader = true;
      general = line.general = content == kGeneral;
      anyGeneral = anyGeneral || general;
    } else if (!content.empty() && content[0] != '#' && content[0] != ';') {
      if (!anyHeader) return damage(number, "stands before any header");
      const size_t equals = content.find('=');
      if (equals == std::string_view::npos) return damage(number, "has no '='");
      line.key = trimmed(content.substr(0, equals));
      line.value = trimmed(content.substr(equals + 1));
    }
    settings.lines_.push_back(std::move(line));
  }
  if (anyHeader && !anyGeneral) return Error{"it has no header [General]"};
  return settings;
}

std::optional<std::string> SettingsText::string(std::string_view key) const {
  const Line* line = find(key);
  if (line == nullptr || isBooleanWord(line->value)) return std::nullopt;
  return unescaped(line->value);
}

std::optional<bool> SettingsText::boolean(std::string_view key) const {
  const Line* line = find(key);
  if (line == nullptr || !isBooleanWord(line->value)) return std::nullopt;
  return line->value == "true";
}

void SettingsText::setString(std::string_view key, std::string_view value) {
  set(key, escaped(value));
}

void SettingsText::setBoolean(std::string_view key, bool value) {
  set(key, value ? "true" : "false");
}

void SettingsText::adopt(std::string_view key, const SettingsText& other) {
  set(key, other.find(key)->value);
}

std::string SettingsText::text() const {
  std::string text;
  for (const Line& line : lines_) text += line.text + "\n";
  return text;
}

const SettingsText::Line* SettingsText::find(std::string_view key) const {
  const auto found = std::find_if(lines_.rbegin(), lines_.rend(), [key](const Line& line) {
    return line.general && !line.key.empty() && line.key == key;
  });
  return found == lines_.rend() ? nullptr : &*found;
}

void SettingsText::set(std::string_view key, std::string value) {
  Line line{std::string(key) + "=" + value, true, std::string(key), std::move(value)};
  if (const Line* present = find(key)) {
    lines_[static_cast<size_t>(present - lines_.data())] = std::move(line);
    return;
  }
  // Below the last line of the section that says something, above the blank ones that end it.
  const auto last = std::find_if(lines_.rbegin(), lines_.rend(), [](const Line& candidate) {
    return candidate.general && !trimmed(candidate.text).empty();
  });
  if (last != lines_.rend()) {
    lines_.insert(last.base(), std::move(line));
    return;
  }
  lines_.push_back({std::string(kGeneral), true, {}, {}});
  lines_.push_back(std::move(line));
}

}  // namespace tovalin
