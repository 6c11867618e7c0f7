// The document of a new visit, against the least commits that could make it durable, and against as many commits and
// folder syncs as the order of its steps asks for.

#include <filesystem>
#include <string>

#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/service_stores.hpp"

#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

Outcome byLibrary(const std::string& folder, std::size_t times) {
    SendingApp app(folder);
    platform::Platform::current().syncPolicy = SyncPolicy::powerLoss;
    return timedEach(
        times,
        [&] {
            app.forgetDocuments();
            SessionManager::sharedInstance().endVisit();
        },
        [&] { app.manager().createDocument(); });
}

/// What a visit writes.
struct VisitFiles {
    std::string document;
    std::string database;
    std::string session;
};

VisitFiles filesOfAVisit(const std::string& folder) {
    auto& manager = startApp(folder, SyncPolicy::processExit);
    return {readFile(storedFilePath(manager.getLaistDocId())),
            readFile(storedFilePath(StaticValues::DOCUMENT_DB_NAME())),
            readFile(storedFilePath(service_stores::visits()->name()))};
}

void removeDocument(const std::string& folder) { std::filesystem::remove(folder + "/document"); }

Outcome byLimit(const std::string& folder, std::size_t times) {
    const auto files = filesOfAVisit(folder);
    return timedEach(
        times, [&] { removeDocument(folder); },
        [&] {
            replaceFile(folder + "/document", files.document);
            replaceFile(folder + "/database", files.database);
            syncFolder(folder);
        });
}

Outcome bySameSyncs(const std::string& folder, std::size_t times) {
    const auto files = filesOfAVisit(folder);
    return timedEach(
        times, [&] { removeDocument(folder); },
        [&] {
            replaceFile(folder + "/document", files.document);
            syncFolder(folder);
            replaceFile(folder + "/database", files.database);
            syncFolder(folder);
            replaceFile(folder + "/session", files.session);
            syncFolder(folder);
        });
}

}  // namespace

void addVisitRow() {
    addSide("visit/harvelstone", byLibrary);
    addSide("visit/limit", byLimit);
    addSide("visit/same_syncs", bySameSyncs);
}

}  // namespace harvelstone::bench
