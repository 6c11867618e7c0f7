// Deletes the files of a document that has left the pending list: its map and its goal, pages, revenue and push queues.
// Its click, event and campaign queues are left to pruning, and so is all of it if the list without the document
// (DOCUMENT_TARGET_NAME) cannot be stored. Runs on the main queue.

#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/housekeeping/queue_deletion.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

/// The name of the queue that lies there; "" when it is no queue's file.
std::string queueAt(const std::string& path) {
    if (!path.starts_with(storageFolder())) return {};
    const std::string name(storedName(std::string_view(path).substr(storageFolder().size())));
    return isQueueName(name) ? name : std::string();
}

/// The files go only when no start finds the document in the stored list any more: it would miss its session there.
void requireStoredRetirement(const std::string& documentId) {
    LaterLines lines;
    const StorageBatch batch;
    if (!documetNameList->load()->contains(documentId)) {
        const auto stored = storedDocumentNames(**documentDB);
        if (stored && std::find(stored->begin(), stored->end(), documentId) != stored->end()) storeDocumentNames();
    }
    if (!StorageBatch::commitAlone(**documentDB, lines))
        throw platform::Exception("the stored list may still name the document");
}

}  // namespace

void DocumentManager::removeSentDocument(const std::string& documentId) {
    try {
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_REMOVE_FILE document id : {}", documentId));
        deleteOldestJsonFile();
        requireStoredRetirement(documentId);
        std::vector<std::string> names{documentId};
        for (const auto* prefix : {&StaticValues::GOAL_FILE_PREFIX(), &StaticValues::PAGES_FILE_PREFIX(),
                                   &StaticValues::REVENUE_FILE_PREFIX(), &StaticValues::PUSH_FILE_PREFIX()})
            names.push_back(*prefix + documentId);
        countBeforeDeletion(names, removedUnread);
        for (const auto& name : names) {
            const auto path = storedFilePath(name);
            deletePath(path);
            BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_REMOVE_FILE : {}", path));
        }
    } catch (const platform::Exception&) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    }
}

void DocumentManager::deletePath(const std::string& path) { deleteFile(path, removedUnread); }

void DocumentManager::deleteFile(const std::string& path, std::string_view unreadFate) {
    auto& fileSystem = *platform::Platform::current().fileSystem;
    if (!fileSystem.isDeletable(path)) {
        BSDebugger::log(
            fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : cound not delete this file --> {}", path));
        return;
    }
    if (!fileSystem.exists(path)) {
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : file is not exists --> {}", path));
        return;
    }
    const auto queue = queueAt(path);
    const auto removed = queue.empty() ? fileSystem.remove(path) : deleteQueue(queue, unreadFate);
    if (removed)
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:{}", path));
    else
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : occured an error --> {}",
                                    platform::describe(removed.error())));
}

}  // namespace harvelstone
