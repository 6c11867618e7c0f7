// A pass from the gates to the request: a new visit's document is filled with 100 records from its queues, stamped,
// saved, and made into a body. Against one commit of the same document with zlib over the same bytes, and against as
// many syncs as it takes to consume the queues.

#include <memory>
#include <string>

#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "bench/QuietHttpClient.hpp"
#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/zlib_alone.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

Outcome byLibrary(const std::string& folder, std::size_t times) {
    const auto client = std::make_shared<QuietHttpClient>();
    SendingApp app(folder, platformWith(client));
    return timedEach(
        times,
        [&] {
            app.prepareFilledVisit();
            syncFileSystem(folder);  // records are on the disk long before their pass
        },
        [&] {
            app.pass(SyncPolicy::powerLoss);
            client->requireRequest();
        });
}

std::string sentDocument(const std::string& folder) {
    const auto client = std::make_shared<QuietHttpClient>();
    SendingApp app(folder, platformWith(client));
    const auto documentId = app.prepareFilledVisit();
    app.pass(SyncPolicy::processExit);
    client->requireRequest();
    return readFile(storedFilePath(documentId));
}

/// The commit and the compression, with so many synced writes of an emptied queue's header besides.
Outcome byHand(const std::string& folder, std::size_t times, std::size_t queues) {
    const auto document = sentDocument(folder);
    const auto encoded = percentEncoded(document);
    const std::string header(32, 'h');
    ZlibAlone zlib;
    return timed(times, [&] {
        replaceFile(folder + "/document", document);
        syncFolder(folder);
        for (std::size_t i = 0; i < queues; ++i)
            appendToFile(folder + "/queue" + std::to_string(i), header, Durability::synced);
        benchmark::DoNotOptimize(zlib.compress(encoded));
    });
}

}  // namespace

void addPassRow() {
    addSide("pass/harvelstone", byLibrary);
    addSide("pass/limit", [](const auto& folder, auto times) { return byHand(folder, times, /*queues=*/0); });
    addSide("pass/same_syncs", [](const auto& folder, auto times) { return byHand(folder, times, /*queues=*/4); });
}

}  // namespace harvelstone::bench
