// What operations could not bring to disk, and its further attempts: one at the end of each later operation that
// writes. So whatever was acknowledged is on disk as soon as the disk works again, and a lasting failure costs each
// operation little. Writes through NamedMap, QueueState and StorageFolder. Any thread; nothing is tried with a lock of
// this file held.

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <mutex>
#include <utility>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/QueueState.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

/// How many stores of each kind one operation tries in vain before it leaves the others to the next.
constexpr int mostFailures = 4;

struct Owed {
    std::mutex mutex;
    std::deque<std::shared_ptr<NamedMap>> maps;  // in the order in which they failed
    std::deque<std::shared_ptr<QueueState>> queues;
    std::vector<StorageBatch::Work> works;  // scopes whose maps are not written: their records wait to be consumed
    std::atomic<bool> isNothing = true;
};
constinit platform::PerProcess<Owed> owed;

template <typename Store>
void append(std::deque<Store>& stores, const Store& store) {
    if (std::find(stores.begin(), stores.end(), store) == stores.end()) stores.push_back(store);
    owed->isNothing = false;
}

/// Takes out what is owed now, tries each store, and puts back those that failed, behind the ones that were not tried.
template <typename Store, typename Attempt>
void retryEach(std::deque<Store>& stores, Attempt attempt) {
    std::deque<Store> due;
    {
        const std::lock_guard lock(owed->mutex);
        due.swap(stores);
    }
    std::vector<Store> failed;
    while (!due.empty() && failed.size() < mostFailures) {
        if (!attempt(*due.front())) failed.push_back(due.front());
        due.pop_front();
    }
    const std::lock_guard lock(owed->mutex);
    due.insert(due.end(), failed.begin(), failed.end());
    for (const auto& store : stores)
        if (std::find(due.begin(), due.end(), store) == due.end()) due.push_back(store);
    stores.swap(due);
    if (!stores.empty()) owed->isNothing = false;
}

}  // namespace

void storage_batch::owe(const std::shared_ptr<NamedMap>& map) {
    const std::lock_guard lock(owed->mutex);
    append(owed->maps, map);
}

void storage_batch::owe(const std::shared_ptr<QueueState>& queue) {
    const std::lock_guard lock(owed->mutex);
    append(owed->queues, queue);
}

void StorageBatch::defer(Work work) {
    const std::lock_guard lock(owed->mutex);
    owed->works.push_back(std::move(work));
    owed->isNothing = false;
}

void StorageBatch::retryFailed() {
    if (owesFolderSync()) {
        LaterLines lines;
        syncStorageFolder(lines);
    }
    if (owed->isNothing) return;
    commitOwedMaps();
    consumeDeferred();
    retryEach(owed->queues, [](QueueState& queue) { return queue.retry(); });
    const std::lock_guard lock(owed->mutex);
    owed->isNothing = owed->maps.empty() && owed->queues.empty() && owed->works.empty();
}

void StorageBatch::commitOwedMaps() {
    LaterLines lines;
    retryEach(owed->maps, [&](NamedMap& map) { return map.commit(lines); });
    syncStorageFolder(lines);
}

void StorageBatch::consumeDeferred() {
    LaterLines lines;
    std::vector<Work> ready;
    {
        const std::lock_guard lock(owed->mutex);
        auto& works = owed->works;
        const auto waits = [](const Work& work) {
            return !std::all_of(work.maps.begin(), work.maps.end(), [](const auto& map) { return map->isCommitted(); });
        };
        const auto firstReady = std::stable_partition(works.begin(), works.end(), waits);
        std::move(firstReady, works.end(), std::back_inserter(ready));
        works.erase(firstReady, works.end());
        if (!ready.empty() && !syncStorageFolder(lines)) {
            std::move(ready.begin(), ready.end(), std::back_inserter(works));
            return;
        }
    }
    for (const auto& work : ready)
        for (const auto& queue : work.queues) queue->finish(work.number);
}

}  // namespace harvelstone
