#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovalin {

// A desktop entry file, open to changes that leave everything else in it as it was: other keys,
// translations, comments, other groups, their order. Keys are those of the group [Desktop Entry];
// of a key that stands there twice the last counts, as for the desktops. Any thread.
class DesktopEntry {
 public:
  explicit DesktopEntry(std::string_view file = {});

  // The value as it stands in the file, without the blanks around it.
  std::optional<std::string> rawValue(std::string_view key) const;
  // The value with its escapes resolved.
  std::optional<std::string> value(std::string_view key) const;
  // Absent also when the value is no boolean.
  std::optional<bool> boolean(std::string_view key) const;
  // The parts between the semicolons; empty when there is no such key.
  std::vector<std::string> list(std::string_view key) const;

  // Writes the value in place of all that the key had, or at the end of the group.
  void setRawValue(std::string_view key, std::string_view value);
  void setList(std::string_view key, const std::vector<std::string>& parts);
  void remove(std::string_view key);

  // Every key of the group, translations ("Name[de]") included, in order.
  std::vector<std::string> keys() const;
  // Whether there is anything but keys of the group: comments, other groups.
  bool hasMoreThanKeys() const;
  std::string text() const;

 private:
  struct Line {
    std::string text;
    std::string key;    // of a line of the group, else empty
    std::string value;  // likewise
  };

  std::vector<Line> lines_;
  size_t groupEnd_ = 0;  // behind the group's last line that is not blank
};

// A string value as it stands in a desktop entry.
std::string escapedValue(std::string_view text);

}  // namespace tovalin
