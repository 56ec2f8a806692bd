#pragma once

#include <string>

#include "platform/secure_random.h"
#include "platform/user_defaults.h"

namespace tovalin {

// The values the host keeps across runs, bound to the user defaults: a read falls back to the
// default, a write is stored at once. Main thread.
class HostSettings {
 public:
  HostSettings(UserDefaults& defaults, SecureRandom& random, std::string defaultServerURL);

  // An address on the retired port 9800 becomes the default one. Run at every launch.
  void migrateServerAddress();
  // Makes `hostId` and `hostKey` where they are empty; they stay the same ever after.
  void createIdentity();

  std::string serverURL() const;
  void setServerURL(const std::string& address);
  // A random UUID, upper case, 36 characters.
  std::string hostId() const;
  // The secret shared with the signalling server: 64 lower-case hexadecimal digits. Never shown.
  std::string hostKey() const;
  bool hasPairedOnce() const;
  void setHasPairedOnce();
  // Whether the first run's choice of starting at login has been made.
  bool loginConfigured() const;
  void setLoginConfigured();

 private:
  std::string makeHostId();
  std::string makeHostKey();

  UserDefaults& defaults_;
  SecureRandom& random_;
  const std::string defaultServerURL_;
};

}  // namespace tovalin
