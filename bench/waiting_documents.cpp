#include "bench/waiting_documents.hpp"

#include <utility>
#include <vector>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "bench/raw_files.hpp"
#include "bench/sample_document.hpp"

namespace harvelstone::bench {

std::string waitingDocumentText() {
    auto document = *platform::parseJson((*currentDocument->load())->jsonString())->dictionary();
    constexpr std::size_t pages = 10;
    document.merge(sampleDocument(pages));
    document.erase(StaticValues::RETRY_COUNT());
    return platform::jsonText(document);
}

void haveWaitingDocuments(SendingApp& app, std::size_t count) {
    const auto text = waitingDocumentText();
    app.forgetDocuments();
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < count; ++i) {
        ids.push_back(sampleDocumentId(i));
        appendToFile(storedFilePath(ids.back()), text, Durability::unsynced);
    }
    documetNameList->store(DocumentNames(std::move(ids)));
}

}  // namespace harvelstone::bench
