#pragma once

// The small ports of the computer and the program: settings, randomness, log, names, addresses.

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/host_info.h"
#include "platform/qr_code.h"
#include "platform/secure_random.h"
#include "platform/system_log.h"
#include "platform/url.h"
#include "platform/user_defaults.h"

namespace tovalin::fake {

// Settings in memory, open to the test: what is in `strings` and `booleans` is what was stored.
class FakeUserDefaults : public UserDefaults {
 public:
  std::optional<std::string> string(std::string_view key) const override {
    const auto found = strings.find(key);
    return found == strings.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<bool> boolean(std::string_view key) const override {
    const auto found = booleans.find(key);
    return found == booleans.end() ? std::nullopt : std::optional(found->second);
  }
  void setString(std::string_view key, std::string_view value) override {
    writes.emplace_back(key);
    strings[std::string(key)] = value;
  }
  void setBoolean(std::string_view key, bool value) override {
    writes.emplace_back(key);
    booleans[std::string(key)] = value;
  }

  std::map<std::string, std::string, std::less<>> strings;
  std::map<std::string, bool, std::less<>> booleans;
  std::vector<std::string> writes;  // keys, in order
};

// Hands out `next`, `next` + 1, … ; or fails and leaves the bytes alone.
class FakeSecureRandom : public SecureRandom {
 public:
  int fill(std::span<uint8_t> bytes) override {
    if (failWith != 0) return failWith;
    for (auto& byte : bytes) byte = next++;
    return 0;
  }

  uint8_t next = 0;
  int failWith = 0;
};

class FakeSystemLog : public SystemLog {
 public:
  void line(std::string_view text) override {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(text);
  }

  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }
  long count(std::string_view text) const {
    const auto all = lines();
    return std::count(all.begin(), all.end(), text);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

class FakeHostInfo : public HostInfo {
 public:
  std::optional<std::string> localizedName() const override { return name; }
  std::optional<std::string> bundleIdentifier() const override { return bundle; }

  std::optional<std::string> name = "Ada's computer";
  std::optional<std::string> bundle = "com.tovalin.host";
};

// Accepts every text but the empty one and those with spaces or control characters.
class FakeUrlParser : public UrlParser {
 public:
  std::optional<Url> parse(std::string_view text) const override {
    const bool bad =
        std::any_of(text.begin(), text.end(), [](unsigned char c) { return c <= ' '; });
    return text.empty() || bad ? std::nullopt : std::optional(Url{std::string(text)});
  }
  std::string encodeQueryValue(std::string_view text) const override {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string encoded;
    for (const unsigned char c : text) {
      if (std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '~') {
        encoded += static_cast<char>(c);
      } else {
        encoded += {'%', kHex[c >> 4], kHex[c & 15]};
      }
    }
    return encoded;
  }
};

// A one-module code that remembers its texts.
class FakeQrCodeGenerator : public QrCodeGenerator {
 public:
  std::optional<QrModules> encode(std::string_view text) const override {
    texts.emplace_back(text);
    return fits ? std::optional(QrModules{1, {true}}) : std::nullopt;
  }

  mutable std::vector<std::string> texts;
  bool fits = true;
};

}  // namespace tovalin::fake
