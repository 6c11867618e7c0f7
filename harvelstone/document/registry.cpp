// The current document, the newest ids, a document's queues, the page-view counter. Reads and replaces the session and
// postback sections of the current document (TYPE_SESSION, TYPE_POSTBACK), reads the pending list
// (DOCUMENT_TARGET_NAME), empties record queues. Runs on the caller's thread.

#include <fmt/format.h>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone {

void DocumentManager::startSession() { loadDocument(); }

void DocumentManager::loadDocument() {
    const StorageBatch batch;
    const auto names = documetNameList->load();
    if (names->empty()) {
        currentDocument->store(createDocument());
        return;
    }
    const auto& newest = names->at(names->size() - 1);
    if (sessionManager->getVisitNew(newest, /*isReadOnly=*/false) == "Y")
        currentDocument->store(createDocument());
    else
        currentDocument->store(TinyMap::sharedInstance().get(newest));
}

std::shared_ptr<NamedMap> DocumentManager::updateDocument() {
    const StorageBatch batch;
    auto document = *currentDocument->load();
    const auto& sessionKey = TrackType::TYPE_SESSION().toString();
    auto session = document->getMutableDictionary(sessionKey);
    session = putSessionDBDefault(std::move(session));
    session = putSessionProfile(std::move(session));
    session = putAdProfile(std::move(session), /*isInstallData=*/false);
    document->putDictionary(sessionKey, std::move(session));
    document->putDictionary(TrackType::TYPE_POSTBACK().toString(),
                            HarvelstonePostback::sharedInstance().getPostbackJosn());
    return document;
}

std::string DocumentManager::getLastDocumentID() {
    const auto stored = storedDocumentNames(*TinyMap::sharedInstance().get(StaticValues::DOCUMENT_DB_NAME()));
    return stored && !stored->empty() ? stored->back() : "";
}

std::string DocumentManager::getLaistDocId() {
    const auto names = documetNameList->load();
    // Of an empty list this asks for the largest index there is, which raises. Meant so.
    return names->at(names->size() - 1);
}

List DocumentManager::getQueue(const std::string& prefix, const std::string& documentID) {
    const StorageBatch batch;
    List records;
    QueueFile queue(fmt::format("{}{}", prefix, documentID));
    while (auto record = queue.pop()) records.emplace_back(*std::move(record));
    return records;
}

void DocumentManager::printCurrentFiles() {
    if (!HarvelstoneCore::getFlagSdkLockState()) return;
    const auto files = platform::Platform::current().fileSystem->list(storageFolder());
    if (files && !files->empty())
        BSDebugger::log(fmt::format("CURRENT_DOCUMENT, remains file count is : {}", files->size()));
}

void DocumentManager::addCsPV() { sessionManager->addCsPV(); }

std::int64_t DocumentManager::getCsPV() { return sessionManager->getCsPV(sessionManager->getSid(1)); }

}  // namespace harvelstone
