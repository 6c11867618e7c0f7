// The scope that collects puts and pops: commits the touched maps, syncs the folder, then makes consumption durable.
// Each thread has its own scope.

#include "harvelstone/services/StorageBatch.hpp"

#include <algorithm>
#include <atomic>
#include <fmt/format.h>
#include <mutex>
#include <utility>
#include <vector>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/QueueState.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

std::uint64_t nextNumber() {
    static std::atomic<std::uint64_t> last = 0;
    return ++last;
}

}  // namespace

/// What one scope has collected.
struct StorageBatch::Work {
    std::uint64_t number = nextNumber();
    std::vector<std::shared_ptr<NamedMap>> maps;      // in the order of the last put
    std::vector<std::shared_ptr<QueueState>> queues;  // in the order of the first pop
};

namespace {

/// A plain pointer, so that nothing is destroyed at the thread's end while a late destructor still records.
thread_local StorageBatch::Work* current = nullptr;

/// Scopes whose maps could not be written: their records stay unconsumed on disk until they are.
struct Deferred {
    std::mutex mutex;
    std::vector<StorageBatch::Work> works;
    std::atomic<bool> isEmpty = true;
};
constinit platform::PerProcess<Deferred> deferred;

}  // namespace

StorageBatch::StorageBatch() {
    if (current) return;
    work_ = std::make_unique<Work>();
    current = work_.get();
}

StorageBatch::~StorageBatch() {
    if (!work_) return;
    current = nullptr;  // what a log sink records from here on is a scope of its own
    try {
        finish(std::move(*work_));
    } catch (const std::exception& error) {
        // Out of memory; the maps stay changed and are written after the next put.
        BSDebugger::log("DEBUG_HARVELSTONE_STORE : could not write the maps of an operation : " +
                        std::string(error.what()));
    }
}

void StorageBatch::commit() { finish(std::exchange(*current, Work())); }

void StorageBatch::finish(Work work) {
    const bool isDurable = commitMaps(work);
    if (isDurable) {
        for (const auto& queue : work.queues) queue->finish(work.number);
    } else {
        std::erase_if(work.queues, [&](const auto& queue) { return !queue->defer(work.number); });
        if (!work.queues.empty()) {
            const std::lock_guard lock(deferred->mutex);
            deferred->works.push_back(std::move(work));
            deferred->isEmpty = false;
        }
    }
    if (!deferred->isEmpty) consumeDeferred();
}

bool StorageBatch::commitMaps(const Work& work) {
    LaterLines lines;
    bool allWritten = true;
    for (const auto& map : work.maps) allWritten = map->commit(lines) && allWritten;
    if (work.maps.empty()) return true;
    return syncStorageFolder(lines) && allWritten;
}

void StorageBatch::consumeDeferred() {
    LaterLines lines;
    std::vector<Work> ready;
    {
        const std::lock_guard lock(deferred->mutex);
        const auto waits = [](const Work& work) {
            return !std::all_of(work.maps.begin(), work.maps.end(), [](const auto& map) { return map->isCommitted(); });
        };
        const auto firstReady = std::stable_partition(deferred->works.begin(), deferred->works.end(), waits);
        std::move(firstReady, deferred->works.end(), std::back_inserter(ready));
        deferred->works.erase(firstReady, deferred->works.end());
        if (!ready.empty() && !syncStorageFolder(lines)) {
            std::move(ready.begin(), ready.end(), std::back_inserter(deferred->works));
            return;
        }
        deferred->isEmpty = deferred->works.empty();
    }
    for (const auto& work : ready)
        for (const auto& queue : work.queues) queue->finish(work.number);
}

namespace storage_batch {

void touch(const std::shared_ptr<NamedMap>& map) {
    auto& maps = current->maps;
    if (!maps.empty() && maps.back() == map) return;
    std::erase(maps, map);
    maps.push_back(map);
}

std::uint64_t consume(const std::shared_ptr<QueueState>& queue) {
    auto& queues = current->queues;
    if (std::find(queues.begin(), queues.end(), queue) == queues.end()) queues.push_back(queue);
    return current->number;
}

bool keepsWhatItRead() {
    auto& queues = current->queues;
    const auto isUnread = [](const auto& queue) { return queue->isUnread(current->number); };
    if (std::none_of(queues.begin(), queues.end(), isUnread)) return true;
    for (const auto& queue : queues) queue->giveBack(current->number);
    queues.clear();
    return false;
}

}  // namespace storage_batch

}  // namespace harvelstone
