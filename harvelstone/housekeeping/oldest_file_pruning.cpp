// Deletes the stored files that are older than MAX_LEFE_TIME_JSONFILE whole hours, those of documents that still wait
// included; the long-lived stores (DocumentDB, current_profile_file, ...) stay. Runs on the main queue and on the
// threads that passes run on.

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/housekeeping/queue_deletion.hpp"
#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

bool isTooOld(const std::string& path, double now) {
    const auto attributes = platform::Platform::current().fileSystem->attributes(path);
    return attributes && platform::wholeHoursBetween(attributes->modificationDate, now) > MAX_LEFE_TIME_JSONFILE;
}

/// Those among the names of the folder's files.
std::vector<std::string> oldFiles(std::vector<std::string> names, double now) {
    std::erase_if(names, [&](const std::string& name) {
        return !name.ends_with(FILE_SUFFIX) || isLongLivedStore(storedName(name)) ||
               !isTooOld(storageFolder() + name, now);
    });
    return names;
}

/// With one commit for all, before the first of them is deleted.
void countQueues(const std::vector<std::string>& files) {
    std::vector<std::string> names;
    for (const auto& file : files)
        if (const auto name = storedName(file); isQueueName(name)) names.emplace_back(name);
    countBeforeDeletion(names, prunedUnread);
}

}  // namespace

void DocumentManager::deleteOldestJsonFile() {
    try {
        auto names = platform::Platform::current().fileSystem->list(storageFolder());
        if (!names) return;
        const double now = BSUtil::currentTimeMillis();
        const auto files = oldFiles(*std::move(names), now);
        countQueues(files);
        for (const auto& file : files) {
            const auto path = storageFolder() + file;
            if (!isTooOld(path, now)) continue;  // written meanwhile
            deleteFile(path, prunedUnread);
            BSDebugger::log(fmt::format("documentManager.deleteOldestJsonFile : {}", path));
        }
    } catch (const platform::Exception&) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    }
}

}  // namespace harvelstone
