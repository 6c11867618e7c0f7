// Deletes the files of a document that has left the pending list: its map and its goal, pages, revenue and push queues.
// Its click, event and campaign queues are left to pruning. Runs on the main queue.

#include <fmt/format.h>
#include <string>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

void removeStored(DocumentManager& manager, const std::string& name) {
    const auto path = storedFilePath(name);
    manager.deletePath(path);
    BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_REMOVE_FILE : {}", path));
}

}  // namespace

void DocumentManager::removeSentDocument(const std::string& documentId) {
    try {
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_REMOVE_FILE document id : {}", documentId));
        deleteOldestJsonFile();
        removeStored(*this, documentId);
        for (const auto* prefix : {&StaticValues::GOAL_FILE_PREFIX(), &StaticValues::PAGES_FILE_PREFIX(),
                                   &StaticValues::REVENUE_FILE_PREFIX(), &StaticValues::PUSH_FILE_PREFIX()})
            removeStored(*this, fmt::format("{}{}", *prefix, documentId));
    } catch (const platform::Exception&) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    }
}

void DocumentManager::deletePath(const std::string& path) {
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
    const auto removed = fileSystem.remove(path);
    if (removed)
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:{}", path));
    else
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : occured an error --> {}",
                                    platform::describe(removed.error())));
}

}  // namespace harvelstone
