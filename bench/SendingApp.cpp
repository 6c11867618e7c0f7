#include "bench/SendingApp.hpp"

#include <filesystem>
#include <utility>

#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "bench/sample_document.hpp"

namespace harvelstone::bench {

using platform::Platform;
using platform::SyncPolicy;

SendingApp::SendingApp(const std::string& documentsFolder, Platform platform)
    : manager_(startApp(documentsFolder, SyncPolicy::processExit, std::move(platform))) {
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
}

std::string SendingApp::newVisit() {
    Platform::current().syncPolicy = SyncPolicy::processExit;
    SessionManager::sharedInstance().endVisit();
    return manager_.createDocument()->name();
}

void SendingApp::forgetDocuments() {
    std::filesystem::remove(storedFilePath(manager_.getLaistDocId()));
    documetNameList->store(DocumentNames());
}

void SendingApp::addRecords(RecordKind kind, std::size_t count) {
    Platform::current().syncPolicy = SyncPolicy::processExit;
    QueueFile queue(queuePrefix(kind) + manager_.getLaistDocId());
    for (std::size_t i = 0; i < count; ++i) queue.add(sampleRecord(i));
}

std::string SendingApp::prepareFilledVisit() {
    forgetDocuments();
    auto documentId = newVisit();
    addRecords(RecordKind::page, 60);
    addRecords(RecordKind::click, 20);
    addRecords(RecordKind::goal, 10);
    addRecords(RecordKind::revenue, 10);
    return documentId;
}

void SendingApp::pass(SyncPolicy policy) {
    Platform::current().syncPolicy = policy;
    manager_.sendDocument();
}

}  // namespace harvelstone::bench
