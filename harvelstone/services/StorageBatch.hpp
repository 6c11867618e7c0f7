#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace harvelstone {

class LaterLines;
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
/// What could not be written is tried again at the end of every later scope of the process that writes, until it is:
/// maps, records that wait in memory, consumption. The records popped in a scope stay unconsumed on disk until its maps
/// are written. Scopes nest; the outermost counts. A put or an `add` outside any scope is a scope of its own.
class StorageBatch {
  public:
    StorageBatch();
    ~StorageBatch();
    StorageBatch(const StorageBatch&) = delete;
    StorageBatch& operator=(const StorageBatch&) = delete;

    /// Ends the collected work now, that of the scopes around included; the scope goes on empty.
    void commit();

    /// Writes the map to its file now, whatever the scope, and makes that durable; lets no consumption follow, so it
    /// may be called while a queue is locked. False when that failed.
    static bool commitAlone(NamedMap& map, LaterLines& lines);

    /// What one scope has collected.
    struct Work {
        std::uint64_t number = nextNumber();
        std::vector<std::shared_ptr<NamedMap>> maps;      // in the order of the last put
        std::vector<std::shared_ptr<QueueState>> queues;  // in the order of the first pop
        bool hasWritten = false;                          // something, itself
    };

  private:
    static std::uint64_t nextNumber();
    static void finish(Work work);
    static bool commitMaps(const Work& work);

    // StorageBatchRetries.cpp
    static void defer(Work work);
    static void retryFailed();
    static void commitOwedMaps();
    static void consumeDeferred();

    std::unique_ptr<Work> work_;  // null in an inner scope
};

/// What stores say to the batch of this thread, within a scope.
namespace storage_batch {

/// The operation writes a file itself.
void noteWrite();
/// The map was changed: it takes the last place in the order of commits.
void touch(const std::shared_ptr<NamedMap>& map);
/// Records of the queue are about to be popped. Gives the number of the scope, under which the queue keeps them until
/// the scope's end says that they are consumed.
std::uint64_t consume(const std::shared_ptr<QueueState>& queue);

/// The store knows more than its file, because a write failed. Any thread, in a scope or not.
void owe(const std::shared_ptr<NamedMap>& map);
void owe(const std::shared_ptr<QueueState>& queue);

/// Whether every queue that this scope popped from could be read to the end that it gave. When one could not, all that
/// was popped in the scope goes back into its queue.
bool keepsWhatItRead();

}  // namespace storage_batch

}  // namespace harvelstone
