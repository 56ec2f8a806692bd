#pragma once

// What surrounds the signalling server's core: time, randomness, sockets and the store.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "companion/server/core/clock.h"
#include "companion/server/core/device_store.h"
#include "companion/server/core/outbox.h"
#include "platform/secure_random.h"

namespace tovalin::server::fake {

// Stands still until the test moves it.
class FakeClock : public Clock {
 public:
  Time now() const override { return Time{} + passed; }
  int64_t unixTime() const override {
    return 1'700'000'000 + std::chrono::duration_cast<std::chrono::seconds>(passed).count();
  }

  std::chrono::milliseconds passed{1'000'000};
};

// The same long, varied sequence in every run; or fails and leaves the bytes alone.
class SeededRandom : public SecureRandom {
 public:
  int fill(std::span<uint8_t> bytes) override {
    if (failWith != 0) return failWith;
    std::ranges::generate(bytes, [this] {
      return stuckAt >= 0 ? static_cast<uint8_t>(stuckAt) : static_cast<uint8_t>(engine_());
    });
    return 0;
  }

  int failWith = 0;
  int stuckAt = -1;  // not negative: every byte is this one

 private:
  std::mt19937 engine_{4711};
};

// Remembers what every connection was told, in order.
class FakeOutbox : public Outbox {
 public:
  void send(ConnectionId to, std::string text) override {
    if (!closed.contains(to)) sent[to].push_back(std::move(text));
  }
  void close(ConnectionId which, CloseCode code, std::string_view) override {
    closed.emplace(which, code);
  }

  std::map<ConnectionId, std::vector<std::string>> sent;
  std::map<ConnectionId, CloseCode> closed;
};

// In memory; can be told to fail as a full disk does.
class FakeDeviceStore : public DeviceStore {
 public:
  std::optional<HostRecord> host(const std::string& hostId) override {
    const auto found = hosts.find(hostId);
    return found == hosts.end() ? std::nullopt : std::optional(found->second);
  }
  std::size_t hostCount() override { return hosts.size(); }
  void addHost(const HostRecord& host) override {
    checkDisk();
    hosts.emplace(host.hostId, host);
  }
  void renameHost(const std::string& hostId, const std::string& name) override {
    checkDisk();
    hosts.at(hostId).name = name;
  }
  std::optional<DeviceRecord> device(const std::string& deviceId) override {
    const auto found = devices.find(deviceId);
    return found == devices.end() ? std::nullopt : std::optional(found->second);
  }
  std::vector<std::string> addDevice(const DeviceRecord& device, std::size_t keep) override {
    checkDisk();
    std::vector<std::pair<int64_t, std::string>> others;
    std::vector<std::string> dropped;
    for (const auto& [id, other] : devices) {
      if (other.hostId == device.hostId) others.emplace_back(other.lastSeen, id);
    }
    std::ranges::sort(others);
    for (std::size_t i = 0; i + keep <= others.size(); ++i) dropped.push_back(others[i].second);
    for (const auto& id : dropped) devices.erase(id);
    devices.emplace(device.deviceId, device);
    return dropped;
  }
  void devicesSeen(const std::map<std::string, int64_t>& when) override {
    checkDisk();
    for (const auto& [deviceId, time] : when) {
      if (const auto found = devices.find(deviceId); found != devices.end()) {
        found->second.lastSeen = time;
      }
    }
  }
  void removeDevice(const std::string& deviceId) override {
    checkDisk();
    devices.erase(deviceId);
  }

  std::map<std::string, HostRecord> hosts;
  std::map<std::string, DeviceRecord> devices;
  bool diskFull = false;

 private:
  void checkDisk() const {
    if (diskFull) throw StoreError("database or disk is full");
  }
};

}  // namespace tovalin::server::fake
