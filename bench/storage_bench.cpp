// One durable change of a store, against the least that the system asks for the same durability.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "bench/bench_folder.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

bool writeDurably(const std::string& path, std::string_view bytes, int mode) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | mode, 0600);
    if (file < 0) return false;
    const bool written = ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const bool synced = ::fdatasync(file) == 0;
    return ::close(file) == 0 && written && synced;
}

bool syncFolder(const std::string& path) {
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return false;
    const bool synced = ::fsync(folder) == 0;
    return ::close(folder) == 0 && synced;
}

void QueueAdd(benchmark::State& state) {
    QueueFile queue("bench_queue");
    const auto record = sampleRecord(1);
    for (auto _ : state) queue.add(record);
}

void OpenAppendSyncClose(benchmark::State& state) {
    const auto path = benchFolder() + "/appended";
    const auto text = platform::jsonText(sampleRecord(1));
    for (auto _ : state) {
        if (!writeDurably(path, text, O_APPEND)) {
            state.SkipWithError("a write failed");
            break;
        }
    }
}

void MapPutAndCommit(benchmark::State& state) {
    const auto map = TinyMap::sharedInstance().get("bench_map");
    map->putDictionary("pages", sampleDocument(20));
    std::int64_t count = 0;
    for (auto _ : state) map->putInt("count", ++count);
}

void WriteSyncRenameSyncFolder(benchmark::State& state) {
    const auto path = benchFolder() + "/replaced";
    const auto text = platform::jsonText(sampleDocument(20));
    for (auto _ : state) {
        const bool replaced = writeDurably(path + ".new", text, O_TRUNC) &&
                              std::rename((path + ".new").c_str(), path.c_str()) == 0 && syncFolder(benchFolder());
        if (!replaced) {
            state.SkipWithError("a write failed");
            break;
        }
    }
}

}  // namespace

BENCHMARK(QueueAdd)->UseRealTime();
BENCHMARK(OpenAppendSyncClose)->UseRealTime();
BENCHMARK(MapPutAndCommit)->UseRealTime();
BENCHMARK(WriteSyncRenameSyncFolder)->UseRealTime();

}  // namespace harvelstone::bench
