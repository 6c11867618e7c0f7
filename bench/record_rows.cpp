// One event of 300 bytes, synced and not, against the calls that the system asks for the same and against what an app
// would use instead.

#include <cstdint>
#include <leveldb/db.h>
#include <memory>
#include <stdexcept>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/queue_format.hpp"

#include "bench/App.hpp"
#include "bench/Side.hpp"
#include "bench/SqliteStore.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_event.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

Outcome byLibrary(const std::string& folder, std::size_t times, SyncPolicy policy) {
    auto& manager = startApp(folder, policy);
    const auto event = sampleEvent();
    const auto record = [&] { manager.setEvent(event.type, event.name, event.value); };
    record();  // makes the file
    return timed(times, record);
}

Outcome byLimit(const std::string& folder, std::size_t times, Durability durability) {
    const auto path = folder + "/records";
    const auto frame = queue_format::frame(queue_format::FrameType::record, sampleEventText());
    const auto record = [&] { appendToFile(path, frame, durability); };
    record();
    return timed(times, record);
}

Outcome bySqlite(const std::string& folder, std::size_t times, Durability durability) {
    SqliteStore store(folder + "/records", durability);
    const auto text = sampleEventText();
    const auto record = [&] { store.insert(text); };
    record();
    return timed(times, record);
}

Outcome byLevelDb(const std::string& folder, std::size_t times) {
    leveldb::Options options;
    options.create_if_missing = true;
    leveldb::DB* opened = nullptr;
    if (!leveldb::DB::Open(options, folder + "/records", &opened).ok()) throw std::runtime_error("LevelDB: no store");
    const std::unique_ptr<leveldb::DB> store(opened);
    leveldb::WriteOptions synced;
    synced.sync = true;
    const auto text = sampleEventText();
    std::uint64_t number = 0;
    const auto record = [&] {
        if (!store->Put(synced, std::to_string(++number), text).ok()) throw std::runtime_error("LevelDB: no Put");
    };
    record();
    return timed(times, record);
}

}  // namespace

void addRecordRow() {
    addSide("record/harvelstone",
            [](const auto& folder, auto times) { return byLibrary(folder, times, SyncPolicy::powerLoss); });
    addSide("record/limit", [](const auto& folder, auto times) { return byLimit(folder, times, Durability::synced); });
    addSide("record/sqlite",
            [](const auto& folder, auto times) { return bySqlite(folder, times, Durability::synced); });
    addSide("record/leveldb", byLevelDb);
}

void addUnsyncedRecordRow() {
    addSide("unsynced_record/harvelstone",
            [](const auto& folder, auto times) { return byLibrary(folder, times, SyncPolicy::processExit); });
    addSide("unsynced_record/limit",
            [](const auto& folder, auto times) { return byLimit(folder, times, Durability::unsynced); });
    addSide("unsynced_record/sqlite",
            [](const auto& folder, auto times) { return bySqlite(folder, times, Durability::unsynced); });
}

}  // namespace harvelstone::bench
