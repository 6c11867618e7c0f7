#include "tests/support/DocumentTest.hpp"

#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/stored_ledger.hpp"

namespace harvelstone::testing {

namespace {

std::vector<std::string> texts(const List& list) {
    std::vector<std::string> result;
    for (const auto& element : list) result.push_back(*element.string());
    return result;
}

}  // namespace

std::vector<std::string> pendingIds() { return texts(documetNameList->load()->asList()); }

std::vector<std::string> storedIds() {
    return texts(TinyMap::sharedInstance().get(StaticValues::DOCUMENT_DB_NAME())->getMutableArray(pendingKey));
}

std::vector<std::string> idsOnDisk(const TestPlatform& platform) {
    return fileOfMap(platform, StaticValues::DOCUMENT_DB_NAME()).at(pendingKey).get<std::vector<std::string>>();
}

nlohmann::json fileOfMap(const TestPlatform& platform, const std::string& name) {
    return nlohmann::json::parse(platform.readFile(storedFileName(name)));
}

Dictionary section(const NamedMap& document, const TypeConstant& type) {
    return document.getMutableDictionary(type.toString());
}

Dictionary currentSession() { return section(**currentDocument->load(), TrackType::TYPE_SESSION()); }

std::string refusal(const std::function<void()>& call) {
    try {
        call();
    } catch (const platform::InvalidArgumentException& exception) {
        return exception.reason();
    }
    ADD_FAILURE() << "nothing was refused";
    return "";
}

platform::Result<std::unique_ptr<platform::File>> RecordingFileSystem::open(const std::string& path,
                                                                            platform::OpenMode mode) {
    opened.push_back(path);
    if (mayOpen && !mayOpen(path)) return std::make_error_code(std::errc::io_error);
    return inner_->open(path, mode);
}

platform::Result<void> RecordingFileSystem::rename(const std::string& from, const std::string& to) {
    if (beforeRename) beforeRename();
    committed.push_back(to);
    return inner_->rename(from, to);
}

void expectLedgerBalances() {
    if (*documentDB) expectBalanced(currentLedger());  // else the test has started nothing
}

DocumentTest::DocumentTest() {
    written_ = std::make_shared<RecordCountingFiles>(machine.fileSystem);
    machine.setFileSystem(written_);
}

void DocumentTest::TearDown() {
    expectLedgerBalances();
    if (!*documentDB || !areRecordsOnlyOurs || !written_->areBehind(*platform::Platform::current().fileSystem)) return;
    const auto ledger = currentLedger();
    for (const auto kind : allRecordKinds) {
        const auto name = std::string(recordKindName(kind));
        EXPECT_EQ(ledger.records.at(name).recorded, written_->written(kind)) << name;
    }
}

void DocumentTest::endVisit() { SessionManager::sharedInstance().endVisit(); }

std::shared_ptr<RecordingFileSystem> DocumentTest::recordFiles() {
    auto recording = std::make_shared<RecordingFileSystem>(platform::Platform::current().fileSystem);
    platform::Platform::current().fileSystem = recording;
    return recording;
}

}  // namespace harvelstone::testing
