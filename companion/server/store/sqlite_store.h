#pragma once

#include <filesystem>
#include <map>
#include <memory>

#include "companion/server/core/device_store.h"

namespace tovalin::server {

// Hosts and devices in one SQLite file. Write-ahead logging; pairings with a full sync, so that a
// power cut undoes none.
class SqliteStore : public DeviceStore {
 public:
  // Opens or creates the file, in a folder that exists. Throws StoreError when it cannot be used
  // or was written by a later version of this program.
  explicit SqliteStore(const std::filesystem::path& file);
  ~SqliteStore() override;

  std::optional<HostRecord> host(const std::string& hostId) override;
  std::size_t hostCount() override;
  void addHost(const HostRecord& host) override;
  void renameHost(const std::string& hostId, const std::string& name) override;
  std::optional<DeviceRecord> device(const std::string& deviceId) override;
  std::vector<std::string> addDevice(const DeviceRecord& device, std::size_t keep) override;
  void devicesSeen(const std::map<std::string, int64_t>& when) override;
  void removeDevice(const std::string& deviceId) override;

 private:
  class Database;
  std::unique_ptr<Database> database_;
};

}  // namespace tovalin::server
