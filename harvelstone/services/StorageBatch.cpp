// The scope that collects puts and pops: commits the touched maps, syncs the folder, then makes consumption durable.
// Each thread has its own scope. What fails is tried again (StorageBatchRetries.cpp).

#include "harvelstone/services/StorageBatch.hpp"

#include <algorithm>
#include <atomic>
#include <fmt/format.h>
#include <utility>

#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/QueueState.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

std::uint64_t StorageBatch::nextNumber() {
    static std::atomic<std::uint64_t> last = 0;
    return ++last;
}

namespace {

/// A plain pointer, so that nothing is destroyed at the thread's end while a late destructor still records.
thread_local StorageBatch::Work* current = nullptr;

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

bool StorageBatch::commitAlone(NamedMap& map, LaterLines& lines) {
    return map.commit(lines) && syncStorageFolder(lines);
}

void StorageBatch::finish(Work work) {
    if (work.maps.empty() && work.queues.empty() && !work.hasWritten) return;  // who only reads is not held up
    if (commitMaps(work)) {
        for (const auto& queue : work.queues) queue->finish(work.number);
    } else {
        std::erase_if(work.queues, [&](const auto& queue) { return !queue->defer(work.number); });
        if (!work.queues.empty()) defer(std::move(work));
    }
    retryFailed();
}

bool StorageBatch::commitMaps(const Work& work) {
    LaterLines lines;
    bool allWritten = true;
    for (const auto& map : work.maps) {
        if (map->commit(lines)) continue;
        allWritten = false;
        storage_batch::owe(map);
    }
    if (work.maps.empty()) return true;
    return syncStorageFolder(lines) && allWritten;
}

namespace storage_batch {

void noteWrite() { current->hasWritten = true; }

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
