#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "bench/raw_files.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace harvelstone::bench {

/// A queue of records as an app would keep it in SQLite: one table, a write-ahead log, statements prepared once.
/// Synced is synchronous=FULL, unsynced OFF. What fails raises std::runtime_error.
class SqliteStore {
  public:
    SqliteStore(const std::string& path, Durability durability);
    ~SqliteStore();
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    /// A transaction of its own, outside of one.
    void insert(std::string_view record);
    /// Reads all records in their order and deletes them, in one transaction. Gives their bytes.
    std::size_t drain();

    void begin() { execute("BEGIN IMMEDIATE"); }
    void commit() { execute("COMMIT"); }

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

    void execute(const char* sql);
    Statement prepare(const char* sql);
    [[noreturn]] void fail() const;

    sqlite3* database_ = nullptr;
    Statement insert_;
    Statement select_;
};

}  // namespace harvelstone::bench
