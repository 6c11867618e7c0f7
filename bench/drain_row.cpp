// Taking 10,000 records out of a queue, against reading and parsing the same file and against a table in SQLite.

#include <simdjson.h>
#include <stdexcept>
#include <string_view>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/queue_format.hpp"

#include "bench/App.hpp"
#include "bench/Side.hpp"
#include "bench/SqliteStore.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

constexpr std::size_t recordCount = 10'000;

std::string recordText(std::size_t number) { return platform::jsonText(sampleRecord(number)); }

void requireAll(std::size_t found) {
    if (found != recordCount) throw std::runtime_error("not every record came out of the queue");
}

Outcome byLibrary(const std::string& folder, std::size_t times) {
    auto& manager = startApp(folder, SyncPolicy::processExit);
    const auto& prefix = StaticValues::PAGES_FILE_PREFIX();
    const auto documentId = manager.getLaistDocId();
    return timedEach(
        times,
        [&] {
            platform::Platform::current().syncPolicy = SyncPolicy::processExit;
            QueueFile queue(prefix + documentId);
            for (std::size_t i = 0; i < recordCount; ++i) queue.add(sampleRecord(i));
            platform::Platform::current().syncPolicy = SyncPolicy::powerLoss;
        },
        [&] { requireAll(manager.getQueue(prefix, documentId).size()); });
}

/// A queue file with the records in it. Gives its path.
std::string makeFile(const std::string& folder) {
    const auto path = folder + "/records";
    auto bytes = queue_format::header({});
    for (std::size_t i = 0; i < recordCount; ++i)
        bytes += queue_format::frame(queue_format::FrameType::record, recordText(i));
    appendToFile(path, bytes, Durability::unsynced);
    return path;
}

/// Hands each record's text to the function.
template <typename Take>
void readFrames(std::string_view bytes, Take take) {
    bytes.remove_prefix(queue_format::headerSize);
    while (const auto head = queue_format::readFrameHead(bytes)) {
        take(bytes.substr(queue_format::frameHeadSize, head->payloadSize));
        bytes.remove_prefix(queue_format::frameHeadSize + head->payloadSize);
    }
}

Outcome byLimit(const std::string& folder, std::size_t times) {
    const auto path = makeFile(folder);
    return timed(times, [&] {
        List records;
        readFrames(readFile(path), [&](std::string_view text) { records.push_back(*platform::parseJson(text)); });
        requireAll(records.size());
    });
}

Outcome bySimdjson(const std::string& folder, std::size_t times) {
    const auto path = makeFile(folder);
    return timed(times, [&] {
        simdjson::dom::parser parser;
        std::size_t count = 0;
        readFrames(readFile(path), [&](std::string_view text) {
            if (parser.parse(text.data(), text.size()).error() == simdjson::SUCCESS) ++count;
        });
        requireAll(count);
    });
}

Outcome bySqlite(const std::string& folder, std::size_t times) {
    SqliteStore store(folder + "/records", Durability::synced);
    return timedEach(
        times,
        [&] {
            store.begin();
            for (std::size_t i = 0; i < recordCount; ++i) store.insert(recordText(i));
            store.commit();
        },
        [&] { benchmark::DoNotOptimize(store.drain()); });
}

}  // namespace

void addDrainRow() {
    addLongSide("drain/harvelstone", byLibrary);
    addLongSide("drain/limit", byLimit);
    addLongSide("drain/simdjson", bySimdjson);
    addLongSide("drain/sqlite", bySqlite);
}

}  // namespace harvelstone::bench
