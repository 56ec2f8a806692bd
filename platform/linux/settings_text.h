#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/error.h"

namespace tovalin {

// Nobody's settings are longer, so a file that is has been damaged.
inline constexpr size_t kSettingsLimitBytes = size_t{1024} * 1024;

// The text of the settings file: lines "key=value" under a "[General]" header, UTF-8. Everything
// else that a user may write there (comments, other keys and headers, blank lines) is kept.
//
// A value runs from the first '=' to the end of the line, without blanks around it. Booleans are
// the words true and false. In a string \\ stands for a backslash, \n for a newline and \x with two
// hexadecimal digits for a byte; a string that would read as a boolean has its first letter
// written so. Of two lines with one key the later counts.
class SettingsText {
 public:
  // Reads a whole file, or says what is wrong with it: text that is not under [General], a line
  // that is neither a comment nor a header and has no '=', a byte that is no UTF-8 text.
  static std::variant<SettingsText, Error> parse(std::string_view file);

  // Absent when the key is missing or holds a value of the other type.
  std::optional<std::string> string(std::string_view key) const;
  std::optional<bool> boolean(std::string_view key) const;

  // Keys are words of letters, digits and dots.
  void setString(std::string_view key, std::string_view value);
  void setBoolean(std::string_view key, bool value);
  // Sets `key` as it stands in `other`, where it must be present.
  void adopt(std::string_view key, const SettingsText& other);

  // The file as it is to be written.
  std::string text() const;

 private:
  struct Line {
    std::string text;
    bool general = false;  // the [General] header or a line under it
    std::string key;       // empty but for a setting
    std::string value;     // as it stands in the file
  };

  const Line* find(std::string_view key) const;
  void set(std::string_view key, std::string value);

  std::vector<Line> lines_;
};

}  // namespace tovalin
