#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovalin {

// A text that has been parsed as a URL.
struct Url {
  std::string absoluteString;

  bool operator==(const Url&) const = default;
};

// URL parsing. Any thread.
class UrlParser {
 public:
  virtual ~UrlParser() = default;

  // Parses strictly: absent for an empty text and for one that holds a character no URL may
  // hold. Scheme, host and path are not checked otherwise.
  virtual std::optional<Url> parse(std::string_view text) const = 0;

  // Percent-encodes `text` as a query item's value.
  virtual std::string encodeQueryValue(std::string_view text) const = 0;
};

}  // namespace tovalin
