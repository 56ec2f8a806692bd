#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "companion/server/core/clock.h"
#include "companion/server/core/device_store.h"
#include "companion/server/core/limits.h"
#include "companion/server/core/log.h"
#include "platform/secure_random.h"

namespace tovalin::server {

// What a device needs for its visits; told to it once, when it pairs.
struct Credentials {
  std::string deviceId;   // 32 hexadecimal digits
  std::string deviceKey;  // 64 hexadecimal digits
};

struct NewDevice {
  Credentials credentials;
  std::vector<std::string> dropped;  // ids of the devices that made room for it
};

// Who is who: hosts by their key, devices by theirs. Every operation throws StoreError when the
// store or the random generator fails, except for what is merely noted. Server thread.
class Accounts {
 public:
  enum class Host { refused, known, seenFirst };

  Accounts(DeviceStore& store, SecureRandom& random, const Clock& clock, const Limits& limits,
           Log log);

  // Recognises a host, or trusts it when its id is new. `name` is clean already. Refuses a wrong
  // key, an id or a key of an impossible form, and new hosts when the server is full.
  Host admitHost(const std::string& hostId, const std::string& hostKey, const std::string& name);

  // The name a host last registered with; empty for a host that is not known.
  std::string hostName(const std::string& hostId);

  // A new device of the host, on the disk when this returns.
  NewDevice addDevice(const std::string& hostId, const std::string& deviceName);

  // Whether the key is the device's and the device the host's.
  bool knowsDevice(const std::string& hostId, const std::string& deviceId,
                   const std::string& deviceKey);

  // Notes that a known device is in use now.
  void noteSeen(const std::string& deviceId);

  // The device is unknown from now on, and on the disk too.
  void removeDevice(const std::string& deviceId);

  // Stores what noteSeen() has noted, so that no visit waits for the disk. To be called every
  // second or so.
  void storeSeen();

 private:
  // Runs a write whose failure is worth a log line but must not keep anyone out.
  void noteOnly(const std::function<void()>& write);

  DeviceStore& store_;
  SecureRandom& random_;
  const Clock& clock_;
  const Limits& limits_;
  Log log_;
  std::map<std::string, int64_t> seen_;  // by device, what is not stored yet
};

}  // namespace tovalin::server
