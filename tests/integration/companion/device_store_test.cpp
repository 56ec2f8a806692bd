#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <iterator>
#include <memory>

#include "companion/server/store/sqlite_store.h"
#include "tests/fakes/fake_companion.h"
#include "tests/integration/companion/temporary_folder.h"

namespace tovalin::server {
namespace {

const std::string kBinary("\0\x01'\xff", 4);

// One contract for the real store and the fake that stands in for it.
template <typename Store>
struct Maker;
template <>
struct Maker<fake::FakeDeviceStore> {
  std::unique_ptr<DeviceStore> store = std::make_unique<fake::FakeDeviceStore>();
};
template <>
struct Maker<SqliteStore> {
  test::TemporaryFolder folder;
  std::unique_ptr<DeviceStore> store =
      std::make_unique<SqliteStore>(folder.path() / "store.sqlite");
};

template <typename Store>
class DeviceStoreTest : public testing::Test {
 protected:
  DeviceStore& store() { return *maker_.store; }
  void addHost(const std::string& id) { store().addHost({id, {kBinary, "hash"}, "Name of " + id}); }
  std::vector<std::string> addDevice(const std::string& id, const std::string& host, int64_t seen,
                                     size_t keep = 32) {
    return store().addDevice({id, host, {"salt", kBinary}, "Name of " + id, 100, seen}, keep);
  }

 private:
  Maker<Store> maker_;
};

using Stores = testing::Types<fake::FakeDeviceStore, SqliteStore>;
TYPED_TEST_SUITE(DeviceStoreTest, Stores);

TYPED_TEST(DeviceStoreTest, HostsComeBackAsTheyWere) {
  EXPECT_FALSE(this->store().host("A"));
  EXPECT_EQ(this->store().hostCount(), 0u);
  this->addHost("A");
  this->addHost("B");
  const auto host = this->store().host("A");
  ASSERT_TRUE(host);
  EXPECT_EQ(host->hostId, "A");
  EXPECT_EQ(host->key.salt, kBinary);
  EXPECT_EQ(host->key.hash, "hash");
  EXPECT_EQ(host->name, "Name of A");
  EXPECT_EQ(this->store().hostCount(), 2u);
  EXPECT_FALSE(this->store().host("a"));
}

TYPED_TEST(DeviceStoreTest, RenamingChangesOneName) {
  this->addHost("A");
  this->addHost("B");
  this->store().renameHost("A", "Robert'); DROP TABLE hosts;--");
  EXPECT_EQ(this->store().host("A")->name, "Robert'); DROP TABLE hosts;--");
  EXPECT_EQ(this->store().host("B")->name, "Name of B");
}

TYPED_TEST(DeviceStoreTest, DevicesComeBackAsTheyWere) {
  this->addHost("A");
  this->addDevice("d", "A", 200);
  const auto device = this->store().device("d");
  ASSERT_TRUE(device);
  EXPECT_EQ(device->deviceId, "d");
  EXPECT_EQ(device->hostId, "A");
  EXPECT_EQ(device->key.salt, "salt");
  EXPECT_EQ(device->key.hash, kBinary);
  EXPECT_EQ(device->name, "Name of d");
  EXPECT_EQ(device->created, 100);
  EXPECT_EQ(device->lastSeen, 200);
  this->store().devicesSeen({{"d", 300}, {"nobody", 300}});
  EXPECT_EQ(this->store().device("d")->lastSeen, 300);
  EXPECT_FALSE(this->store().device("e"));
}

TYPED_TEST(DeviceStoreTest, OnlyTheHostsLongestUnseenDevicesMakeRoom) {
  this->addHost("A");
  this->addHost("B");
  this->addDevice("b", "B", 1);
  this->addDevice("old", "A", 20);
  this->addDevice("older", "A", 10);
  this->addDevice("fresh", "A", 30);
  EXPECT_THAT(this->addDevice("new", "A", 5, /*keep=*/2),
              testing::UnorderedElementsAre("old", "older"));
  EXPECT_TRUE(this->store().device("new")) << "the newest stays whatever its time";
  EXPECT_TRUE(this->store().device("fresh"));
  EXPECT_FALSE(this->store().device("old"));
  EXPECT_FALSE(this->store().device("older"));
  EXPECT_TRUE(this->store().device("b"));
}

TYPED_TEST(DeviceStoreTest, RemovedDeviceIsGoneAndNoOther) {
  this->addHost("A");
  this->addDevice("d", "A", 1);
  this->addDevice("e", "A", 1);
  this->store().removeDevice("d");
  this->store().removeDevice("d");
  EXPECT_FALSE(this->store().device("d"));
  EXPECT_TRUE(this->store().device("e"));
}

class SqliteStoreTest : public testing::Test {
 protected:
  SqliteStore open() { return SqliteStore(file_); }
  void run(const char* sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(file_.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(connection);
  }

  test::TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_.path() / "store.sqlite";
};

TEST_F(SqliteStoreTest, KeepsEverythingOverAReopening) {
  {
    auto store = open();
    store.addHost({"A", {"salt", "hash"}, "Study"});
    store.addDevice({"d", "A", {"salt", "hash"}, "Phone", 1, 2}, 32);
  }
  auto store = open();
  EXPECT_EQ(store.host("A")->name, "Study");
  EXPECT_EQ(store.device("d")->hostId, "A");
}

TEST_F(SqliteStoreTest, WhatIsDoneIsReadableByAnotherConnectionAtOnce) {
  auto store = open();
  store.addHost({"A", {"salt", "hash"}, "Study"});
  store.addDevice({"d", "A", {"salt", "hash"}, "Phone", 1, 2}, 32);
  EXPECT_TRUE(open().device("d"));
}

// What the first release wrote, kept as text in version_1.sql.
TEST_F(SqliteStoreTest, FilesOfVersion1AreTakenOver) {
  std::ifstream sql(TOVALIN_VERSION_1_SQL);
  run(std::string(std::istreambuf_iterator<char>(sql), {}).c_str());
  auto store = open();
  const auto host = store.host("0B5D1F6E-9E0B-4C44-A8E5-64A0A3B0C6D1");
  ASSERT_TRUE(host);
  EXPECT_EQ(host->name, "Study");
  EXPECT_EQ(toHex(host->key.salt), "000102030405060708090a0b0c0d0e0f");
  const auto device = store.device("5d41402abc4b2a76b9719d911017c592");
  ASSERT_TRUE(device);
  EXPECT_EQ(device->hostId, host->hostId);
  EXPECT_EQ(toHex(device->key.hash).substr(0, 8), "ffeeddcc");
  EXPECT_EQ(device->created, 1'700'000'000);
  EXPECT_EQ(device->lastSeen, 1'700'000'060);
  store.addDevice({"new", host->hostId, {"salt", "hash"}, "Phone", 1, 2}, 32);
  EXPECT_TRUE(store.device("new"));
}

TEST_F(SqliteStoreTest, RefusesAFileOfALaterVersionAndLeavesItAlone) {
  open();
  run("PRAGMA user_version = 1000");
  try {
    open();
    FAIL() << "it was opened";
  } catch (const StoreError& error) {
    EXPECT_THAT(error.what(), testing::StartsWith(file_.string() + ": its version 1000 is of a "));
  }
  run("PRAGMA user_version = 1");
  open();
}

TEST_F(SqliteStoreTest, RefusesAFileThatIsNoDatabase) {
  folder_.write("store.sqlite", std::string(4096, 'x'));
  EXPECT_THROW(open(), StoreError);
}

TEST_F(SqliteStoreTest, RefusesAFolderThatIsNotThere) {
  EXPECT_THROW(SqliteStore(folder_.path() / "missing" / "store.sqlite"), StoreError);
}

TEST_F(SqliteStoreTest, FailedWriteThrowsAndChangesNothing) {
  auto store = open();
  store.addHost({"A", {"salt", "hash"}, "Study"});
  store.addDevice({"d", "A", {"salt", "hash"}, "Phone", 1, 2}, 32);
  EXPECT_THROW(store.addHost({"A", {"salt", "hash"}, "Twice"}), StoreError);
  EXPECT_THROW(store.addDevice({"d", "A", {"salt", "hash"}, "Twice", 1, 2}, 32), StoreError);
  EXPECT_THROW(store.addDevice({"e", "nobody", {"salt", "hash"}, "Phone", 1, 2}, 32), StoreError);
  EXPECT_EQ(store.host("A")->name, "Study");
  EXPECT_EQ(store.device("d")->name, "Phone");
  store.addDevice({"f", "A", {"salt", "hash"}, "Phone", 1, 2}, 32);
  EXPECT_TRUE(store.device("f")) << "no transaction was left open";
}

}  // namespace
}  // namespace tovalin::server
