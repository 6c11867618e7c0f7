#include "bench/SqliteStore.hpp"

#include <sqlite3.h>
#include <stdexcept>

namespace harvelstone::bench {

void SqliteStore::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SqliteStore::SqliteStore(const std::string& path, Durability durability) {
    if (sqlite3_open(path.c_str(), &database_) != SQLITE_OK) fail();
    execute("PRAGMA journal_mode=WAL");
    execute(durability == Durability::synced ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF");
    execute("CREATE TABLE records (id INTEGER PRIMARY KEY, text TEXT NOT NULL)");
    insert_ = prepare("INSERT INTO records (text) VALUES (?)");
    select_ = prepare("SELECT text FROM records ORDER BY id");
}

SqliteStore::~SqliteStore() {
    insert_.reset();
    select_.reset();
    sqlite3_close(database_);
}

void SqliteStore::insert(std::string_view record) {
    sqlite3_bind_text(insert_.get(), 1, record.data(), static_cast<int>(record.size()), SQLITE_STATIC);
    if (sqlite3_step(insert_.get()) != SQLITE_DONE) fail();
    sqlite3_reset(insert_.get());
}

std::size_t SqliteStore::drain() {
    begin();
    std::size_t bytes = 0;
    int result = SQLITE_OK;
    while ((result = sqlite3_step(select_.get())) == SQLITE_ROW) {
        const std::string record(reinterpret_cast<const char*>(sqlite3_column_text(select_.get(), 0)));
        bytes += record.size();
    }
    if (result != SQLITE_DONE) fail();
    sqlite3_reset(select_.get());
    execute("DELETE FROM records");
    commit();
    return bytes;
}

void SqliteStore::execute(const char* sql) {
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

SqliteStore::Statement SqliteStore::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) != SQLITE_OK) fail();
    return Statement(statement);
}

void SqliteStore::fail() const { throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(database_)); }

}  // namespace harvelstone::bench
