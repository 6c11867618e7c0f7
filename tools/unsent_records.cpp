// The records of a storage folder that were not sent, for `harvelstone inspect --export`.

#include "tools/unsent_records.hpp"

#include <algorithm>
#include <span>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/Json.hpp"

#include "tools/held_records.hpp"

namespace harvelstone::tools {

namespace {

class Export {
  public:
    explicit Export(const StorageContents& contents) : contents_(contents) {}

    std::string lines() && {
        for (const auto& id : contents_.pending) {
            if (id.string() == nullptr) continue;
            addDocument(*id.string());
            for (const auto kind : allRecordKinds) addQueue(queuePrefix(kind) + *id.string());
        }
        for (const auto& [name, records] : contents_.queues) {
            const auto owner = queueOwner(name);
            if (owner && !isPending(owner->documentId)) addQueue(name);
        }
        for (const auto& damage : contents_.damaged) addSetAside(*damage.dictionary());
        return std::move(lines_);
    }

  private:
    bool isPending(const std::string& id) const {
        return std::ranges::find(contents_.pending, Value(id)) != contents_.pending.end();
    }

    void addDocument(const std::string& id) {
        const auto document = findValue(contents_.documents, id);
        if (!document) return;
        for (const auto kind : allRecordKinds) {
            addAll(recordsIn(*document->dictionary(), kind), {kind, id}, id);
        }
    }

    void addQueue(const std::string& name) {
        const auto records = findValue(contents_.queues, name);
        const auto owner = queueOwner(name);
        if (!records || !owner) return;
        const auto held = static_cast<std::size_t>(integerValue(findValue(contents_.held, name)));
        addAll(std::span(*records->list()).subspan(held), *owner, name);
    }

    void addSetAside(const Dictionary& damage) {
        const auto records = findValue(damage, "records");
        const auto owner = findValue(damage, "owner");
        if (!records || !owner) return;
        if (const auto queue = queueOwner(*owner->string())) addAll(*records->list(), *queue, *owner->string());
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
    std::string lines_;
};

}  // namespace

std::string unsentRecordLines(const StorageContents& contents) { return Export(contents).lines(); }

}  // namespace harvelstone::tools
