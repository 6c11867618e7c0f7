#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace harvelstone {

/// What became of every document and of every record since the storage folder was made.
///
/// Two equations hold whenever nothing of the library is under way, after any crash too:
///
///     created  = sent + all retired + pending                       for documents
///     recorded = sent + all dropped + pending + damaged             for the records of each kind
struct Ledger {
    struct Documents {
        std::uint64_t created = 0;
        std::uint64_t sent = 0;  ///< answered by the server
        /// Given up, by reason: "transport_failed", "expired", "retries_exhausted", "no_conversion_data",
        /// "traffic_limit", "session_missing", "other_answered". Reasons that did not occur are left out.
        std::map<std::string, std::uint64_t> retired;
        std::uint64_t pending = 0;  ///< waiting to be sent, the current visit's among them

        friend bool operator==(const Documents&, const Documents&) = default;
    };
    struct Records {
        std::uint64_t recorded = 0;
        std::uint64_t assembled = 0;  ///< of those, moved into a document, whatever became of it
        std::uint64_t pending = 0;    ///< in a pending document, or unread in a queue
        std::uint64_t sent = 0;       ///< in a document that was sent
        /// Lost by rule. With the document that they were in: the reasons of `Documents::retired`. Unread in a queue
        /// that was deleted with its document ("removed_unread") or for its age ("pruned_unread"). A push behind the
        /// one that a document carries ("push_surplus"). Pages that could not be folded ("merge_failed"). Reasons that
        /// did not occur are left out.
        std::map<std::string, std::uint64_t> dropped;
        std::uint64_t damaged = 0;  ///< damaged stretches of queue files; what stood there is counted as one record

        friend bool operator==(const Records&, const Records&) = default;
    };

    Documents documents;
    /// By kind: "page", "click", "goal", "revenue", "push", "event", "campaign"; each is there.
    std::map<std::string, Records> records;

    /// Whether both equations hold.
    bool balances() const;

    friend bool operator==(const Ledger&, const Ledger&) = default;
};

}  // namespace harvelstone
