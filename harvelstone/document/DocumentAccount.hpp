#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "harvelstone/document/Fate.hpp"
#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/queue_scan.hpp"

namespace harvelstone {

// What becomes of records apart from the fates of their documents.
inline constexpr std::string_view removedUnread = "removed_unread";  ///< deleted with the sent document, never read
inline constexpr std::string_view prunedUnread = "pruned_unread";    ///< deleted for their age, never read
inline constexpr std::string_view pushSurplus = "push_surplus";      ///< behind the one push that a document carries
inline constexpr std::string_view mergeFailed = "merge_failed";      ///< pages that could not be folded
inline constexpr std::string_view damagedStretch = "damaged";

/// Records by kind; a kind that is not there is not known.
using RecordCounts = std::map<RecordKind, std::uint64_t>;

/// What is settled about documents and records: the part of the ledger that no other file tells. It is stored beside
/// the pending list, in the same commit.
struct DocumentAccount {
    std::uint64_t created = 0;
    FateCounts retired;

    /// Records whose fate is known, by what became of them: the name of their document's fate, or one of the above.
    std::map<RecordKind, std::map<std::string, std::uint64_t>> settled;

    /// Records that were moved into a pending document, by its id. Of a document that was filled in an earlier life its
    /// queue files tell, unless they were deleted.
    std::map<std::string, RecordCounts> assembled;
    /// Of those, documents whose queues on disk may still hold these records. Stored without them: a process that ends
    /// now leaves them in the queues, which tell of them.
    std::set<std::string> beingFilled;

    /// A queue file that is being deleted, and was counted for it. Void when the same file is there after a crash.
    struct Deletion {
        QueueCounts counts;
        std::string outcome;
        friend bool operator==(const Deletion&, const Deletion&) = default;
    };
    std::map<std::string, Deletion> deletions;  ///< by the queue's name

    /// Folders of ended children whose documents were taken over. They are to be deleted, and taken over no more.
    std::set<std::string> adoptedFolders;

    void settle(RecordKind kind, std::string_view outcome, std::uint64_t count);
    /// Records moved into a document that met its fate. A document carries one push.
    void settleAssembled(RecordKind kind, std::uint64_t count, Fate fate);
    /// Settles what the document holds; `earlier` says it of the kinds of which `assembled` does not.
    void settleDocument(const std::string& documentId, Fate fate, const RecordCounts& earlier);

    /// The queue's file, which holds that much, is about to be deleted. In place of what was counted of it before. Says
    /// whether that changed anything.
    bool beginDeletion(const std::string& queue, bool isPending, const Deletion& deletion);
    void endDeletion(const std::string& queue) { deletions.erase(queue); }
    /// The file is still there, and stays for now.
    void revertDeletion(const std::string& queue);
    /// The same, if what is there is the file that was counted, and not a new one of its name.
    void revertIfStillThere(const std::string& queue, const QueueCounts& there);

    bool knowsAssembled(const std::string& documentId, RecordKind kind) const;

    /// Takes another account in, of documents that this one does not know.
    DocumentAccount& operator+=(const DocumentAccount& other);

    friend bool operator==(const DocumentAccount&, const DocumentAccount&) = default;
};

/// Of the records that were moved into a document, those that it carries.
std::uint64_t carriedRecords(RecordKind kind, std::uint64_t assembled);

/// As it stands in the document DB map.
Dictionary storedAccount(const DocumentAccount& account);
/// The inverse; absent when there is no dictionary. What is missing in it, or of another kind, reads as nothing
/// counted.
std::optional<DocumentAccount> readStoredAccount(const std::optional<Value>& stored);

}  // namespace harvelstone
