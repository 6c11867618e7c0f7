// The records of a storage folder that were not sent, for `harvelstone inspect --export`.

#include "tools/unsent_records.hpp"

#include <algorithm>
#include <span>
#include <vector>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/Json.hpp"

#include "tools/held_records.hpp"

namespace harvelstone::tools {

namespace {

class Export {
  public:
    explicit Export(const StorageContents& contents) : contents_(contents) {}

    std::string lines() && {
        for (const auto& id : pending_) {
            forEachFolder([&](const StorageContents& folder) {
                addDocument(folder, id);
                for (const auto kind : allRecordKinds) addQueue(folder, queuePrefix(kind) + id);
            });
        }
        forEachFolder([&](const StorageContents& folder) {
            for (const auto& [name, records] : folder.queues)
                if (!isPending(queueOwner(name)->documentId)) addQueue(folder, name);
        });
        for (const auto& damage : contents_.damaged) addSetAside(*damage.dictionary());
        return std::move(lines_);
    }

  private:
    template <typename Use>
    void forEachFolder(Use use) const {
        use(contents_);
        for (const auto& child : contents_.forked) use(child);
    }

    /// Of all folders, each once: a child's list may have been taken over, and its folder not be deleted yet.
    std::vector<std::string> pendingIds() const {
        std::vector<std::string> ids;
        forEachFolder([&](const StorageContents& folder) {
            for (const auto& id : folder.pending)
                if (id.string() && std::ranges::find(ids, *id.string()) == ids.end()) ids.push_back(*id.string());
        });
        return ids;
    }

    bool isPending(const std::string& id) const { return std::ranges::find(pending_, id) != pending_.end(); }

    void addDocument(const StorageContents& folder, const std::string& id) {
        const auto document = findValue(folder.documents, id);
        if (!document) return;
        for (const auto kind : allRecordKinds)
            addAll(recordsIn(*document->dictionary(), kind), {kind, id}, folder.folder + id);
    }

    void addQueue(const StorageContents& folder, const std::string& name) {
        const auto records = findValue(folder.queues, name);
        if (!records) return;
        const auto held = static_cast<std::size_t>(integerValue(findValue(folder.held, name)));
        addAll(std::span(*records->list()).subspan(held), *queueOwner(name), folder.folder + name);
    }

    void addSetAside(const Dictionary& damage) {
        const auto records = findValue(damage, "records");
        const auto owner = findValue(damage, "owner");
        if (!records || !owner) return;
        const auto file = *damage.at("file").string();
        const auto folder = file.substr(0, file.find('/') + 1);  // empty without a slash
        if (const auto queue = queueOwner(*owner->string()))
            addAll(*records->list(), *queue, folder + *owner->string());
    }

    void addAll(std::span<const Value> records, const QueueOwner& owner, const std::string& place) {
        for (const auto& record : records) {
            lines_ += platform::jsonText(Dictionary{{"document", owner.documentId},
                                                    {"kind", recordKindName(owner.kind)},
                                                    {"pending", isPending(owner.documentId)},
                                                    {"in", place},
                                                    {"record", record}}) +
                      "\n";
        }
    }

    const StorageContents& contents_;
    const std::vector<std::string> pending_ = pendingIds();
    std::string lines_;
};

}  // namespace

std::string unsentRecordLines(const StorageContents& contents) { return Export(contents).lines(); }

}  // namespace harvelstone::tools
