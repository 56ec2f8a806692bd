#include "companion/server/store/migrations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "companion/server/core/device_store.h"

namespace tovalin::server {
namespace {

class MigrationsTest : public testing::Test {
 protected:
  MigrationsTest() {
    sqlite3* opened = nullptr;
    sqlite3_open(":memory:", &opened);
    database_.reset(opened);
  }

  void migrateBy(const std::vector<const char*>& steps) { migrate(database_.get(), steps); }

  // The first column of every row, as text.
  std::vector<std::string> rows(const char* sql) {
    std::vector<std::string> found;
    const auto add = [](void* list, int, char** values, char**) {
      static_cast<std::vector<std::string>*>(list)->push_back(values[0]);
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(database_.get(), sql, add, &found, nullptr), SQLITE_OK) << sql;
    return found;
  }
  std::string version() { return rows("PRAGMA user_version").at(0); }

  std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database_{nullptr, sqlite3_close};
};

constexpr const char* kMake = "CREATE TABLE t (a); INSERT INTO t VALUES ('first')";
constexpr const char* kAdd = "INSERT INTO t VALUES ('second')";
constexpr const char* kChange = "UPDATE t SET a = a || '!'";

TEST_F(MigrationsTest, EmptyDatabaseTakesEveryStepInOrder) {
  migrateBy({kMake, kAdd, kChange});
  EXPECT_THAT(rows("SELECT a FROM t ORDER BY rowid"), testing::ElementsAre("first!", "second!"));
  EXPECT_EQ(version(), "3");
}

TEST_F(MigrationsTest, OlderDatabaseTakesTheMissingStepsAlone) {
  migrateBy({kMake});
  migrateBy({kMake, kAdd, kChange});
  EXPECT_THAT(rows("SELECT a FROM t ORDER BY rowid"), testing::ElementsAre("first!", "second!"));
  EXPECT_EQ(version(), "3");
}

TEST_F(MigrationsTest, CurrentDatabaseStaysAsItIs) {
  migrateBy({kMake, kAdd});
  migrateBy({kMake, kAdd});
  EXPECT_THAT(rows("SELECT a FROM t"), testing::SizeIs(2));
}

TEST_F(MigrationsTest, StepThatFailsUndoesThoseBeforeIt) {
  migrateBy({kMake});
  EXPECT_THROW(migrateBy({kMake, kAdd, "INSERT INTO nowhere VALUES (1)"}), StoreError);
  EXPECT_THAT(rows("SELECT a FROM t"), testing::ElementsAre("first"));
  EXPECT_EQ(version(), "1");
  migrateBy({kMake, kAdd});
  EXPECT_EQ(version(), "2");
}

TEST_F(MigrationsTest, NewerDatabaseIsRefused) {
  migrateBy({kMake, kAdd, kChange});
  EXPECT_THROW(migrateBy({kMake, kAdd}), StoreError);
  EXPECT_EQ(version(), "3");
}

}  // namespace
}  // namespace tovalin::server
