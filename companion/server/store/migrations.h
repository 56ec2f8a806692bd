#pragma once

#include <span>

struct sqlite3;

namespace tovalin::server {

// Brings a database up to date. Step n (SQL, from 0) makes version n + 1 of version n; an empty
// database has version 0. All steps that are missing happen in one transaction, or none. Throws
// StoreError when one fails, and for a database that is newer than the last step.
void migrate(sqlite3* database, std::span<const char* const> steps);

}  // namespace tovalin::server
