// Any bytes as a queue's file: read, added to, read up to the middle and read on.

#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "fuzz/machine.hpp"
#include "fuzz/require.hpp"

namespace harvelstone::fuzz {
namespace {

using Records = std::vector<Dictionary>;

/// A name that no queue had before: what the process knows of a queue is kept by its name.
std::string newName() {
    static unsigned long count = 0;
    return "queue" + std::to_string(++count);
}

QueueContents contentsOf(std::string_view bytes) { return readQueueContents(std::as_bytes(std::span(bytes))); }

Records drained(const std::string& name) {
    const StorageBatch scope;
    QueueFile queue(name);
    Records records;
    while (auto record = queue.pop()) records.push_back(*std::move(record));
    return records;
}

void readWhole(std::string_view bytes, const QueueContents& expected) {
    const auto name = newName();
    const auto disk = diskWith(name, bytes);
    require(drained(name) == expected.unread, "the queue gives what can be read from its file");
    require(drained(name).empty(), "a queue that was read to its end is empty");
    require(contentsOf(disk->image().content(storedFilePath(name))).unread.empty(),
            "what was read is consumed on disk");
    require(contentSetAside(*disk, name) == (expected.isForeign ? bytes : ""),
            "bytes that are no queue are set aside, others not");
}

void addAndRead(std::string_view bytes, Records expected) {
    const auto name = newName();
    const auto disk = diskWith(name, bytes);
    const Dictionary added{{"added", 1}};
    QueueFile(name).add(added);
    expected.push_back(added);
    require(contentsOf(disk->image().content(storedFilePath(name))).unread == expected,
            "an added record is on disk, behind those before it");
    require(drained(name) == expected, "an added record is read, behind those before it");
}

void readInTwoLives(std::string_view bytes, Records expected) {
    const auto name = newName();
    const auto disk = diskWith(name, bytes);
    const auto first = QueueFile(name).pop();
    require(first.has_value() == !expected.empty(), "a queue gives a record as long as it has one");
    if (!first) return;
    require(*first == expected.front(), "the first record comes first");
    expected.erase(expected.begin());
    const auto nameInNextLife = newName();
    diskWith(nameInNextLife, disk->image().content(storedFilePath(name)));
    require(drained(nameInNextLife) == expected, "the next life goes on where the one before stopped");
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone::fuzz;
    machine();
    const auto bytes = textOf(data, size);
    const auto expected = contentsOf(bytes);
    readWhole(bytes, expected);
    addAndRead(bytes, expected.unread);
    readInTwoLives(bytes, expected.unread);
    return 0;
}
