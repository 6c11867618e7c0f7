// The first `sharedInstance` of a process with a list of documents that wait, against reading and parsing the same file
// and the two commits of the new document.

#include <fmt/format.h>
#include <stdexcept>
#include <string>
#include <utility>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "bench/App.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

struct EarlierLife {
    std::string database;  // paths
    std::string document;
    std::string visits;
};

EarlierLife pathsIn(const std::string& folder) {
    const auto path = [&](std::string_view name) { return folder + "/harvelstone/" + storedFileName(name); };
    return {path(StaticValues::DOCUMENT_DB_NAME()), folder + "/document", path("BS_SESSION")};
}

/// Lets a process start the app, and leaves a list of so many ids behind it.
EarlierLife live(const std::string& folder, std::size_t pending) {
    const auto paths = pathsIn(folder);
    inChild([&] {
        startApp(folder, SyncPolicy::processExit);
        appendToFile(paths.document, (*currentDocument->load())->jsonString(), Durability::unsynced);
        List ids;
        for (std::size_t i = 0; i < pending; ++i) ids.emplace_back(sampleDocumentId(i));
        (*documentDB)->putMutableArray(*DOCUMENT_TARGET_NAME, std::move(ids));
        return Outcome();
    });
    return paths;
}

Outcome byLibrary(const std::string& folder, std::size_t pending) {
    live(folder, pending);
    configureApp(folder, SyncPolicy::powerLoss);
    const auto outcome = timed(1, [] { DocumentManager::sharedInstance(); });
    if (documetNameList->load()->size() != pending + 1) throw std::runtime_error("the list was not restored");
    return outcome;
}

void readDatabase(const std::string& path) {
    if (!platform::parseJson(readFile(path))) throw std::runtime_error("the database does not parse");
}

Outcome byLimit(const std::string& folder, std::size_t pending) {
    const auto paths = live(folder, pending);
    const auto document = readFile(paths.document);
    const auto database = readFile(paths.database);
    return timed(1, [&] {
        readDatabase(paths.database);
        replaceFile(folder + "/new", document);
        replaceFile(paths.database, database);
        syncFolder(folder);
    });
}

Outcome bySameSyncs(const std::string& folder, std::size_t pending) {
    const auto paths = live(folder, pending);
    const auto document = readFile(paths.document);
    const auto database = readFile(paths.database);
    const auto visits = readFile(paths.visits);
    return timed(1, [&] {
        readDatabase(paths.database);
        replaceFile(folder + "/new", document);
        syncFolder(folder);
        replaceFile(paths.database, database);
        syncFolder(folder);
        replaceFile(paths.visits, visits);
        syncFolder(folder);
    });
}

Side with(std::size_t pending, Outcome (*measure)(const std::string&, std::size_t)) {
    return [pending, measure](const auto& folder, auto) { return measure(folder, pending); };
}

}  // namespace

void addStartRow() {
    for (const std::size_t pending : {0U, 100U, 10'000U}) {
        const auto name = fmt::format("start/{}_pending", pending);
        addLongSide(name + "/harvelstone", with(pending, byLibrary));
        addLongSide(name + "/limit", with(pending, byLimit));
        addLongSide(name + "/same_syncs", with(pending, bySameSyncs));
    }
}

}  // namespace harvelstone::bench
