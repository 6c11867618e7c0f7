// Reading a storage folder from outside: every "NAME.Harvelstone" by what its name says it is, and the folders of
// forked children likewise.

#include "tools/storage_contents.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/map_format.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tools/held_records.hpp"

namespace harvelstone::tools {

namespace {

constexpr std::size_t longestExcerpt = 4096;

platform::FileSystem& files() { return *platform::Platform::current().fileSystem; }

/// The beginning of a file that is no map, as text.
std::string excerpt(const std::string& path) {
    auto file = files().open(path, platform::OpenMode::Read);
    std::string text(longestExcerpt, '\0');
    if (!file) return {};
    const auto count = (*file)->read(std::as_writable_bytes(std::span(text)), /*offset=*/0);
    text.resize(count ? *count : 0);
    return text;
}

/// As the library does it: a link is not followed.
bool isFolder(const std::string& path) {
    std::error_code ignored;  // what cannot be looked at is no folder to us
    return std::filesystem::symlink_status(path, ignored).type() == std::filesystem::file_type::directory;
}

class FolderReader {
  public:
    /// `folder` ends with a slash; `within` is what names of files in it are told with.
    FolderReader(std::string folder, std::string within) : folder_(std::move(folder)) {
        contents_.folder = std::move(within);
    }

    /// Everything in it; the reason when it cannot be listed.
    std::optional<std::string> readAll() {
        auto names = files().list(folder_);
        if (!names) return platform::describe(names.error());
        std::sort(names->begin(), names->end());
        for (const auto& name : *names) {
            const bool isChilds = contents_.folder.empty() && isForkedFolder(name) && isFolder(folder_ + name);
            isChilds ? readForked(name) : read(name);
        }
        return std::nullopt;
    }

    StorageContents finish() && {
        const auto pending = findValue(contents_.documentDB, *DOCUMENT_TARGET_NAME);
        if (pending && pending->list()) contents_.pending = *pending->list();
        const auto names = documentNamesIn(contents_.documentDB);
        contents_.ledger = makeLedger(names.account(), names.asVector(), counts_);
        for (const auto& [name, records] : contents_.queues) findHeld(name, *records.list());
        return std::move(contents_);
    }

  private:
    void readForked(const std::string& name) {
        FolderReader reader(folder_ + name + "/", name + "/");
        if (const auto error = reader.readAll()) return addDamage(name, *error);
        auto child = std::move(reader).finish();
        std::ranges::move(std::exchange(child.damaged, {}), std::back_inserter(contents_.damaged));
        contents_.forked.push_back(std::move(child));
    }

    void read(const std::string& file) {
        const std::string name(storedName(file));
        if (name.empty()) return;
        if (const auto owner = corruptFileOwner(file); !owner.empty()) return readSetAside(file, owner);
        if (queueOwner(name)) {
            if (auto queue = readQueue(file)) {
                contents_.queues.insert_or_assign(name, List(queue->unread.begin(), queue->unread.end()));
                counts_.emplace(name, queue->counts);
            }
            return;
        }
        auto values = readMap(file);
        if (!values) return;
        if (name == StaticValues::DOCUMENT_DB_NAME())
            contents_.documentDB = *std::move(values);
        else if (!isLongLivedStore(name))
            contents_.documents.insert_or_assign(name, *std::move(values));
    }

    void findHeld(const std::string& queue, const List& unread) {
        const auto owner = queueOwner(queue);
        const auto document = findValue(contents_.documents, owner->documentId);
        if (!document) return;
        const auto held = heldRecords(*document->dictionary(), owner->kind, unread, counts_.at(queue).consumed);
        if (held > 0) contents_.held.emplace(queue, held);
    }

    std::optional<Dictionary> readMap(const std::string& file) {
        auto map = map_format::readMapFile(folder_ + file);
        if (!map) {
            addDamage(file, platform::describe(map.error()));
            return std::nullopt;
        }
        if (!map->damage.empty()) {
            addDamage(file, "the file is " + map->damage, {{"text", excerpt(folder_ + file)}});
            return std::nullopt;
        }
        return std::move(map->values);
    }

    /// The records that can be read; stretches of damage between them are reported.
    std::optional<QueueContents> readQueue(const std::string& file) {
        auto opened = files().open(folder_ + file, platform::OpenMode::Read);
        if (!opened) {
            addDamage(file, platform::describe(opened.error()));
            return std::nullopt;
        }
        auto queue = readQueueContents(**opened);
        if (!queue) {
            addDamage(file, platform::describe(queue.error()));
            return std::nullopt;
        }
        for (const auto& damage : queue->damaged) {
            const auto* why = queue->isForeign ? "the file is no record queue" : "bytes that are no record";
            addDamage(file, why,
                      {{"offset", damage.offset}, {"bytes", damage.bytes}, {"recordsRead", queue->unread.size()}});
        }
        return std::move(*queue);
    }

    /// A file that the library found unreadable earlier and moved out of the way, with what can be read of it.
    void readSetAside(const std::string& file, std::string_view owner) {
        Dictionary more{{"owner", owner}};
        const auto storedBefore = contents_.damaged.size();
        if (queueOwner(owner)) {
            if (auto queue = readQueue(file)) more.emplace("records", List(queue->unread.begin(), queue->unread.end()));
        } else {
            more.emplace("text", excerpt(folder_ + file));
        }
        contents_.damaged.resize(storedBefore);
        addDamage(file, "set aside as unreadable", std::move(more));
    }

    void addDamage(const std::string& file, const std::string& why, Dictionary more = {}) {
        more.insert_or_assign("file", contents_.folder + file);
        more.insert_or_assign("why", why);
        contents_.damaged.emplace_back(std::move(more));
    }

    const std::string folder_;
    StorageContents contents_;
    std::map<std::string, QueueCounts> counts_;  // by the queue's name
};

}  // namespace

std::optional<StorageContents> readStorage(const std::string& folder, std::string& error) {
    FolderReader reader(folder.ends_with('/') ? folder : folder + "/", /*within=*/"");
    if (auto reason = reader.readAll()) {
        error = *std::move(reason);
        return std::nullopt;
    }
    return std::move(reader).finish();
}

}  // namespace harvelstone::tools
