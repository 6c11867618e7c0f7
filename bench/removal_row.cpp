// Removing what is left of a sent document among 100 and among 10,000 files, against one look at each of them and the
// unlinks.

#include <array>
#include <fmt/format.h>
#include <stdexcept>
#include <string>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "bench/App.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

constexpr std::array removedKinds{RecordKind::goal, RecordKind::page, RecordKind::revenue, RecordKind::push};
constexpr std::size_t filesOfADocument = 1 + removedKinds.size();

/// Small files under the names of documents and their queues.
void fillFolder(const std::string& folder, std::size_t files) {
    for (std::size_t number = 1; number <= files / filesOfADocument; ++number) {
        const auto id = sampleDocumentId(number);
        appendToFile(folder + storedFileName(id), "{}", Durability::unsynced);
        for (const auto kind : removedKinds)
            appendToFile(folder + storedFileName(queuePrefix(kind) + id), "", Durability::unsynced);
    }
}

/// The map, and queues whose records have been taken out. On the disk: a removal waits for what is still on its way
/// there.
void makeSentDocument(DocumentManager& manager) {
    const auto id = sampleDocumentId(0);
    appendToFile(storedFilePath(id), "{}", Durability::synced);
    for (const auto kind : removedKinds) {
        QueueFile(queuePrefix(kind) + id).add(sampleRecord(0));
        manager.getQueue(queuePrefix(kind), id);
    }
}

Outcome byLibrary(const std::string& folder, std::size_t times, std::size_t files) {
    auto& manager = startApp(folder, SyncPolicy::powerLoss);
    fillFolder(storageFolder(), files);
    const auto outcome = timedEach(
        times, [&] { makeSentDocument(manager); }, [&] { manager.removeSentDocument(sampleDocumentId(0)); });
    if (platform::Platform::current().fileSystem->exists(storedFilePath(sampleDocumentId(0))))
        throw std::runtime_error("the document was not removed");
    return outcome;
}

Outcome byLimit(const std::string& folder, std::size_t times, std::size_t files) {
    fillFolder(folder + "/", files);
    const auto path = [&](std::size_t number) { return fmt::format("{}/sent{}", folder, number); };
    return timedEach(
        times,
        [&] {
            for (std::size_t i = 0; i < filesOfADocument; ++i) appendToFile(path(i), "{}", Durability::synced);
        },
        [&] {
            benchmark::DoNotOptimize(lookAtEveryFile(folder));
            for (std::size_t i = 0; i < filesOfADocument; ++i) removeFile(path(i));
        });
}

}  // namespace

void addRemovalRow() {
    for (const std::size_t files : {100U, 10'000U}) {
        const auto name = fmt::format("removal/{}_files", files);
        addSide(name + "/harvelstone",
                [files](const auto& folder, auto times) { return byLibrary(folder, times, files); });
        addSide(name + "/limit", [files](const auto& folder, auto times) { return byLimit(folder, times, files); });
    }
}

}  // namespace harvelstone::bench
