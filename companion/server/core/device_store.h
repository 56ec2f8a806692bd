#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "companion/server/core/secrets.h"

namespace tovalin::server {

struct HostRecord {
  std::string hostId;
  SaltedHash key;
  std::string name;
};

struct DeviceRecord {
  std::string deviceId;
  std::string hostId;
  SaltedHash key;
  std::string name;
  int64_t created = 0;   // seconds since 1970
  int64_t lastSeen = 0;  // seconds since 1970
};

// What every operation of a store throws when it cannot do its work. The text is for the log.
class StoreError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Hosts and the devices paired with them. What concerns a pairing is on the disk when the operation
// returns, and all that was written before with it. What a power cut may undo until then costs
// nobody anything: a host is trusted anew when it comes again. Server thread.
class DeviceStore {
 public:
  virtual ~DeviceStore() = default;

  virtual std::optional<HostRecord> host(const std::string& hostId) = 0;
  virtual std::size_t hostCount() = 0;
  virtual void addHost(const HostRecord& host) = 0;
  virtual void renameHost(const std::string& hostId, const std::string& name) = 0;

  virtual std::optional<DeviceRecord> device(const std::string& deviceId) = 0;

  // Adds a device and drops the host's least recently seen ones beyond `keep`, in one transaction.
  // Returns the ids of those that were dropped.
  virtual std::vector<std::string> addDevice(const DeviceRecord& device, std::size_t keep) = 0;

  // When devices were last seen, by id; those that do not exist are skipped. One transaction, which
  // a power cut may undo too: it decides no more than which of a host's devices makes room first.
  virtual void devicesSeen(const std::map<std::string, int64_t>& when) = 0;

  // Does nothing when there is no such device.
  virtual void removeDevice(const std::string& deviceId) = 0;
};

}  // namespace tovalin::server
