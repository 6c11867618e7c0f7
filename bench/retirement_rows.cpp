// Retiring a list of expired documents, against the commits of the list alone; and what one document of a long list
// costs against one of a short list.

#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "bench/CommitSizes.hpp"
#include "bench/QuietHttpClient.hpp"
#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

/// Puts so many documents that have expired before the one that there is.
void haveExpiredDocuments(DocumentManager& manager, std::size_t count) {
    const auto living = manager.getLaistDocId();
    const auto& sessionKey = TrackType::TYPE_SESSION().typeValue();
    auto session = (*currentDocument->load())->getMutableDictionary(sessionKey);
    session.insert_or_assign(StaticValues::CREATE_TIME(), 0.0);
    const auto text = platform::jsonText(Dictionary{{sessionKey, std::move(session)}});
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < count; ++i) {
        ids.push_back(sampleDocumentId(i));
        appendToFile(storedFilePath(ids.back()), text, Durability::unsynced);
    }
    ids.push_back(living);
    documetNameList->store(DocumentNames(std::move(ids)));
}

Outcome retireAll(SendingApp& app, std::size_t count, SyncPolicy policy) {
    haveExpiredDocuments(app.manager(), count);
    const auto outcome = timed(1, [&] { app.pass(policy); });
    if (fateCounts()[Fate::expired] != count) throw std::runtime_error("not every document was retired");
    return outcome;
}

Outcome byLibrary(const std::string& folder, std::size_t count) {
    SendingApp app(folder, platformWith(std::make_shared<QuietHttpClient>()));
    return retireAll(app, count, SyncPolicy::powerLoss);
}

Outcome byLimit(const std::string& folder, std::size_t count) {
    const auto database = folder + "/harvelstone/" + storedFileName(StaticValues::DOCUMENT_DB_NAME());
    const auto commits = std::make_shared<CommitSizes>(database);
    auto platform = platformWith(std::make_shared<QuietHttpClient>());
    platform.fileSystem = commits;
    SendingApp app(folder, std::move(platform));
    commits->sizes.clear();
    retireAll(app, count, SyncPolicy::processExit);
    return timed(1, [&] {
        for (const auto size : commits->sizes) {
            replaceFile(folder + "/list", std::string(size, 'l'));
            syncFolder(folder);
        }
    });
}

Outcome perDocument(const std::string& folder, std::size_t count) {
    auto outcome = byLibrary(folder, count);
    outcome.time /= static_cast<double>(count);
    return outcome;
}

Side of(std::size_t count, Outcome (*measure)(const std::string&, std::size_t)) {
    return [count, measure](const auto& folder, auto) { return measure(folder, count); };
}

}  // namespace

void addRetirementRow() {
    for (const std::size_t count : {100U, 1'000U, 10'000U}) {
        const auto name = fmt::format("retirement/{}", count);
        addLongSide(name + "/harvelstone", of(count, byLibrary));
        addLongSide(name + "/limit", of(count, byLimit));
    }
}

void addRetirementGrowthRow() {
    addLongSide("retirement_growth/harvelstone", of(10'000, perDocument));
    addLongSide("retirement_growth/hundred", of(100, perDocument));
}

}  // namespace harvelstone::bench
