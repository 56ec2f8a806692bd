#include "companion/server/core/accounts.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tovalin::server {
namespace {

constexpr std::size_t kDeviceIdBytes = 16;
constexpr std::size_t kDeviceKeyBytes = 32;

bool isHostId(std::string_view text) {
  constexpr std::size_t kLongest = 64;
  return !text.empty() && text.size() <= kLongest && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '_' || c == '.';
  });
}

bool isHostKey(std::string_view text) {
  constexpr std::size_t kShortest = 32;
  constexpr std::size_t kLongest = 256;
  return text.size() >= kShortest && text.size() <= kLongest &&
         std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

template <typename Value>
Value orThrow(std::optional<Value> value) {
  if (!value) throw StoreError("the system gives no random bytes");
  return *std::move(value);
}

}  // namespace

Accounts::Accounts(DeviceStore& store, SecureRandom& random, const Clock& clock,
                   const Limits& limits, Log log)
    : store_(store), random_(random), clock_(clock), limits_(limits), log_(std::move(log)) {}

Accounts::Host Accounts::admitHost(const std::string& hostId, const std::string& hostKey,
                                   const std::string& name) {
  if (!isHostId(hostId) || !isHostKey(hostKey)) return Host::refused;
  if (const auto known = store_.host(hostId)) {
    if (!matches(known->key, hostKey)) return Host::refused;
    if (known->name != name) {
      noteOnly([&] { store_.renameHost(hostId, name); });
    }
    return Host::known;
  }
  if (store_.hostCount() >= limits_.hosts) {
    log_({LogLevel::warning, "hosts-full"});
    return Host::refused;
  }
  store_.addHost({hostId, orThrow(saltedHash(hostKey, random_)), name});
  return Host::seenFirst;
}

std::string Accounts::hostName(const std::string& hostId) {
  const auto known = store_.host(hostId);
  return known ? known->name : std::string();
}

NewDevice Accounts::addDevice(const std::string& hostId, const std::string& deviceName) {
  Credentials made{orThrow(randomHex(random_, kDeviceIdBytes)),
                   orThrow(randomHex(random_, kDeviceKeyBytes))};
  storeSeen();  // it decides which device has to make room
  const int64_t now = clock_.unixTime();
  auto dropped = store_.addDevice(
      {made.deviceId, hostId, orThrow(saltedHash(made.deviceKey, random_)), deviceName, now, now},
      limits_.devicesPerHost);
  return {std::move(made), std::move(dropped)};
}

bool Accounts::knowsDevice(const std::string& hostId, const std::string& deviceId,
                           const std::string& deviceKey) {
  const auto device = store_.device(deviceId);
  return device && device->hostId == hostId && matches(device->key, deviceKey);
}

void Accounts::noteSeen(const std::string& deviceId) {
  seen_[deviceId] = clock_.unixTime();
}

void Accounts::removeDevice(const std::string& deviceId) {
  store_.removeDevice(deviceId);
}

void Accounts::storeSeen() {
  if (seen_.empty()) return;
  noteOnly([this] { store_.devicesSeen(seen_); });
  seen_.clear();
}

void Accounts::noteOnly(const std::function<void()>& write) {
  try {
    write();
  } catch (const StoreError& error) {
    log_(storeFailed(error.what()));
  }
}

}  // namespace tovalin::server
