// A pass from the gates to the request: a new visit's document is filled with 100 records from its queues, stamped,
// saved, and made into a body. Against one commit of the same document with zlib over the same bytes, and against as
// many syncs as it takes to consume the queues.

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "bench/App.hpp"
#include "bench/QuietHttpClient.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"
#include "bench/zlib_alone.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

/// An app with one pending document and 100 records, time and again.
class App {
  public:
    explicit App(const std::string& folder)
        : manager_(startApp(folder, SyncPolicy::processExit, platformWith(client_))) {
        ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    }

    /// Nothing of it is synced. Gives the document's id.
    std::string prepare() {
        platform::Platform::current().syncPolicy = SyncPolicy::processExit;
        documetNameList->store(DocumentNames());
        SessionManager::sharedInstance().endVisit();
        manager_.createDocument();
        const auto documentId = manager_.getLaistDocId();
        addRecords(StaticValues::PAGES_FILE_PREFIX() + documentId, 60);
        addRecords(StaticValues::CLICK_FILE_PREFIX() + documentId, 20);
        addRecords(StaticValues::GOAL_FILE_PREFIX() + documentId, 10);
        addRecords(StaticValues::REVENUE_FILE_PREFIX() + documentId, 10);
        return documentId;
    }

    void pass(SyncPolicy policy) {
        platform::Platform::current().syncPolicy = policy;
        const auto before = client_->requests;
        manager_.sendDocument();
        if (client_->requests != before + 1) throw std::runtime_error("nothing was sent: is this machine connected?");
    }

  private:
    static platform::Platform platformWith(std::shared_ptr<platform::HttpClient> client) {
        platform::Platform platform;
        platform.httpClient = std::move(client);
        return platform;
    }

    static void addRecords(const std::string& queueName, std::size_t count) {
        QueueFile queue(queueName);
        for (std::size_t i = 0; i < count; ++i) queue.add(sampleRecord(i));
    }

    std::shared_ptr<QuietHttpClient> client_ = std::make_shared<QuietHttpClient>();
    DocumentManager& manager_;
};

Outcome byLibrary(const std::string& folder, std::size_t times) {
    App app(folder);
    return timedEach(
        times, [&] { app.prepare(); }, [&] { app.pass(SyncPolicy::powerLoss); });
}

std::string sentDocument(const std::string& folder) {
    App app(folder);
    const auto documentId = app.prepare();
    app.pass(SyncPolicy::processExit);
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
