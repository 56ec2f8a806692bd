#include "companion/server/store/sqlite_store.h"

#include <sqlite3.h>

#include <exception>
#include <string_view>
#include <utility>

#include "companion/server/store/migrations.h"

namespace tovalin::server {
namespace {

constexpr int kBusyMs = 2000;  // an administrator's sqlite3 shell may hold the lock for a moment

constexpr const char* kSynced = "PRAGMA synchronous = FULL";
constexpr const char* kUnsynced =
    "PRAGMA synchronous = NORMAL";  // commits do not wait for the disk

// Each makes the next version of the one before. What has been released never changes; a new need
// is a new step.
constexpr const char* kSteps[] = {
    R"(
  CREATE TABLE hosts (
    hostId TEXT PRIMARY KEY,
    salt BLOB NOT NULL,
    keyHash BLOB NOT NULL,
    name TEXT NOT NULL
  ) WITHOUT ROWID;
  CREATE TABLE devices (
    deviceId TEXT PRIMARY KEY,
    hostId TEXT NOT NULL REFERENCES hosts(hostId) ON DELETE CASCADE,
    keyHash BLOB NOT NULL,
    salt BLOB NOT NULL,
    name TEXT NOT NULL,
    created INTEGER NOT NULL,
    lastSeen INTEGER NOT NULL
  ) WITHOUT ROWID;
  CREATE INDEX devicesOfHost ON devices(hostId, lastSeen);
)"};

struct Close {
  void operator()(sqlite3* connection) const { sqlite3_close(connection); }
};
struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

// Raw bytes, where a plain text would become a TEXT value.
struct Blob {
  std::string_view bytes;
};

// One prepared statement, bound in order and stepped to the next row.
class Statement {
 public:
  Statement(sqlite3* connection, const char* sql) : connection_(connection) {
    sqlite3_stmt* made = nullptr;
    check(sqlite3_prepare_v2(connection, sql, -1, &made, nullptr));
    handle_.reset(made);
  }

  Statement& bind(std::string_view text) {
    check(sqlite3_bind_text64(handle_.get(), ++bound_, text.data(), text.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
    return *this;
  }
  Statement& bind(Blob blob) {
    check(sqlite3_bind_blob64(handle_.get(), ++bound_, blob.bytes.data(), blob.bytes.size(),
                              SQLITE_TRANSIENT));
    return *this;
  }
  Statement& bind(int64_t number) {
    check(sqlite3_bind_int64(handle_.get(), ++bound_, number));
    return *this;
  }

  // Whether there is a row (another row) to read.
  bool step() {
    const int result = sqlite3_step(handle_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) check(result);
    return result == SQLITE_ROW;
  }

  std::string bytes(int column) const {
    const void* data = sqlite3_column_blob(handle_.get(), column);
    const int size = sqlite3_column_bytes(handle_.get(), column);
    return data ? std::string(static_cast<const char*>(data), static_cast<std::size_t>(size)) : "";
  }
  int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }

 private:
  void check(int result) const {
    if (result != SQLITE_OK) throw StoreError(sqlite3_errmsg(connection_));
  }

  sqlite3* connection_;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
  int bound_ = 0;
};

}  // namespace

class SqliteStore::Database {
 public:
  explicit Database(const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    connection_.reset(opened);
    if (result != SQLITE_OK) throw StoreError(file.string() + ": " + sqlite3_errstr(result));
    sqlite3_busy_timeout(opened, kBusyMs);
    run("PRAGMA journal_mode = WAL");
    run(kSynced);
    run("PRAGMA foreign_keys = ON");
  }

  sqlite3* handle() const { return connection_.get(); }

  Statement prepare(const char* sql) { return {connection_.get(), sql}; }

  void run(const char* sql) {
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw StoreError(sqlite3_errmsg(connection_.get()));
    }
  }

 private:
  std::unique_ptr<sqlite3, Close> connection_;
};

namespace {

// Rolls back unless committed.
template <typename Database>
class Transaction {
 public:
  explicit Transaction(Database& database) : database_(database) {
    database_.run("BEGIN IMMEDIATE");
  }
  ~Transaction() {
    if (committed_) return;
    try {
      database_.run("ROLLBACK");
    } catch (const StoreError&) {
      // Some failures have rolled back by themselves, and then there is nothing to undo.
    }
  }
  void commit() {
    database_.run("COMMIT");
    committed_ = true;
  }

 private:
  Database& database_;
  bool committed_ = false;
};

// Commits in its scope are whole, but a power cut may undo the last of them.
template <typename Database>
class Unsynced {
 public:
  explicit Unsynced(Database& database) : database_(database) { database_.run(kUnsynced); }
  ~Unsynced() {
    // Sets a flag of the connection, which touches no file and so has no cause to fail.
    try {
      database_.run(kSynced);
    } catch (const StoreError&) {
      std::terminate();  // better than to promise what is not on the disk
    }
  }

 private:
  Database& database_;
};

}  // namespace

SqliteStore::SqliteStore(const std::filesystem::path& file)
    : database_(std::make_unique<Database>(file)) {
  try {
    migrate(database_->handle(), kSteps);
  } catch (const StoreError& error) {
    throw StoreError(file.string() + ": " + error.what());
  }
}

SqliteStore::~SqliteStore() = default;

std::optional<HostRecord> SqliteStore::host(const std::string& hostId) {
  auto query = database_->prepare("SELECT salt, keyHash, name FROM hosts WHERE hostId = ?");
  if (!query.bind(hostId).step()) return std::nullopt;
  return HostRecord{hostId, {query.bytes(0), query.bytes(1)}, query.bytes(2)};
}

std::size_t SqliteStore::hostCount() {
  auto query = database_->prepare("SELECT count(*) FROM hosts");
  query.step();
  return static_cast<std::size_t>(query.number(0));
}

void SqliteStore::addHost(const HostRecord& host) {
  const Unsynced unsynced(*database_);
  database_->prepare("INSERT INTO hosts (hostId, salt, keyHash, name) VALUES (?, ?, ?, ?)")
      .bind(host.hostId)
      .bind(Blob{host.key.salt})
      .bind(Blob{host.key.hash})
      .bind(host.name)
      .step();
}

void SqliteStore::renameHost(const std::string& hostId, const std::string& name) {
  const Unsynced unsynced(*database_);
  database_->prepare("UPDATE hosts SET name = ? WHERE hostId = ?").bind(name).bind(hostId).step();
}

std::optional<DeviceRecord> SqliteStore::device(const std::string& deviceId) {
  auto query = database_->prepare(
      "SELECT hostId, salt, keyHash, name, created, lastSeen FROM devices WHERE deviceId = ?");
  if (!query.bind(deviceId).step()) return std::nullopt;
  return DeviceRecord{deviceId,       query.bytes(0),  {query.bytes(1), query.bytes(2)},
                      query.bytes(3), query.number(4), query.number(5)};
}

std::vector<std::string> SqliteStore::addDevice(const DeviceRecord& device, std::size_t keep) {
  Transaction transaction(*database_);
  // First the room, then the device, so that equal times never cost the newest its place.
  auto drop = database_->prepare(
      "DELETE FROM devices WHERE deviceId IN (SELECT deviceId FROM devices WHERE hostId = ? "
      "ORDER BY lastSeen DESC LIMIT -1 OFFSET ?) RETURNING deviceId");
  drop.bind(device.hostId).bind(static_cast<int64_t>(keep) - 1);
  std::vector<std::string> dropped;
  while (drop.step()) dropped.push_back(drop.bytes(0));
  database_
      ->prepare(
          "INSERT INTO devices (deviceId, hostId, keyHash, salt, name, created, lastSeen) "
          "VALUES (?, ?, ?, ?, ?, ?, ?)")
      .bind(device.deviceId)
      .bind(device.hostId)
      .bind(Blob{device.key.hash})
      .bind(Blob{device.key.salt})
      .bind(device.name)
      .bind(device.created)
      .bind(device.lastSeen)
      .step();
  transaction.commit();
  return dropped;
}

void SqliteStore::removeDevice(const std::string& deviceId) {
  database_->prepare("DELETE FROM devices WHERE deviceId = ?").bind(deviceId).step();
}

void SqliteStore::devicesSeen(const std::map<std::string, int64_t>& when) {
  const Unsynced unsynced(*database_);
  Transaction transaction(*database_);
  for (const auto& [deviceId, time] : when) {
    database_->prepare("UPDATE devices SET lastSeen = ? WHERE deviceId = ?")
        .bind(time)
        .bind(deviceId)
        .step();
  }
  transaction.commit();
}

}  // namespace tovalin::server
