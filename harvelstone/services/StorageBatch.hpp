#pragma once

#include <cstdint>
#include <memory>

namespace harvelstone {

class NamedMap;
class QueueState;

/// A scope that collects the puts of one public operation on this thread.
///
/// Inside it a put is visible to every thread at once but not yet on disk, and a popped record is gone for every reader
/// but not yet consumed on disk. When the outermost scope ends, by return or by exception, every touched map is
/// committed once, in the order of the last put; then the folder is synced; only then is the consumption of queue
/// records made durable. So a crash at any point loses no record; one between the last two steps leaves a record both
/// in its map and in its queue, and whoever moves records looks into the map first.
///
/// When a commit fails, the records popped in the scope stay unconsumed on disk until the maps of the scope are
/// written, by a later put or `save`. Scopes nest; the outermost counts. A put outside any scope is a scope of its own.
class StorageBatch {
  public:
    StorageBatch();
    ~StorageBatch();
    StorageBatch(const StorageBatch&) = delete;
    StorageBatch& operator=(const StorageBatch&) = delete;

    /// Ends the collected work now, that of the scopes around included; the scope goes on empty.
    void commit();

    struct Work;

  private:
    static void finish(Work work);
    static bool commitMaps(const Work& work);
    static void consumeDeferred();

    std::unique_ptr<Work> work_;  // null in an inner scope
};

/// What stores say to the batch of this thread. Each is called within a scope.
namespace storage_batch {

/// The map was changed: it takes the last place in the order of commits.
void touch(const std::shared_ptr<NamedMap>& map);
/// Records of the queue are about to be popped. Gives the number of the scope, under which the queue keeps them until
/// the scope's end says that they are consumed.
std::uint64_t consume(const std::shared_ptr<QueueState>& queue);

/// Whether every queue that this scope popped from could be read to the end that it gave. When one could not, all that
/// was popped in the scope goes back into its queue.
bool keepsWhatItRead();

}  // namespace storage_batch

}  // namespace harvelstone
