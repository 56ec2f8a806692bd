#include "companion/server/store/migrations.h"

#include <sqlite3.h>

#include <memory>
#include <string>

#include "companion/server/core/device_store.h"

namespace tovalin::server {
namespace {

void run(sqlite3* database, const std::string& sql) {
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw StoreError(sqlite3_errmsg(database));
  }
}

std::size_t versionOf(sqlite3* database) {
  sqlite3_stmt* made = nullptr;
  const int prepared = sqlite3_prepare_v2(database, "PRAGMA user_version", -1, &made, nullptr);
  const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(made,
                                                                             sqlite3_finalize);
  if (prepared != SQLITE_OK || sqlite3_step(made) != SQLITE_ROW) {
    throw StoreError(sqlite3_errmsg(database));
  }
  return static_cast<std::size_t>(sqlite3_column_int64(made, 0));
}

}  // namespace

void migrate(sqlite3* database, std::span<const char* const> steps) {
  const std::string newest = std::to_string(steps.size());
  run(database, "BEGIN IMMEDIATE");
  try {
    const std::size_t version = versionOf(database);
    if (version > steps.size()) {
      throw StoreError("its version " + std::to_string(version) +
                       " is of a later program; this one knows version " + newest);
    }
    for (const char* step : steps.subspan(version)) run(database, step);
    run(database, "PRAGMA user_version = " + newest);
    run(database, "COMMIT");
  } catch (const StoreError&) {
    sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);  // closing does the same
    throw;
  }
}

}  // namespace tovalin::server
