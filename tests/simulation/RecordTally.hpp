#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "harvelstone/document/Ledger.hpp"

#include "tests/simulation/Fact.hpp"

namespace harvelstone::testing {

/// The ledger that a process finds which starts on this disk, by the library's own rules.
Ledger ledgerFoundOn(const DiskImage& disk);

/// The host's own count of its records, against what the ledger makes of the disk that each life leaves. The ledger has
/// to count a record of which the host knows that it was taken, and none of which the host knows nothing: exactly, but
/// for what is named at `uncounted_`, `lost_` and `extra_`.
class RecordTally {
  public:
    /// What is wrong at the end of a life that left this.
    std::vector<std::string> violationsAfter(const Facts& life, const DiskImage& disk);

  private:
    struct Record {
        std::string queue = {};
        bool isAcknowledged = false;
        bool metFailure = false;  // the disk failed in its life before it was acknowledged
        bool stands = false;      // in a file, or was consumed from it
    };
    using Numbers = std::set<std::int64_t>;

    void beginLife();
    void take(const Fact& fact);
    void takeWritten(const Fact& fact);
    void takeEmptied(const std::string& file);
    void takeHeader(const std::string& file, std::size_t records);
    void takeRemoval(const std::string& file);
    void noteWhatTheEndCost(const DiskImage& disk);
    void noteLost(const DiskImage& disk);
    void noteUncounted(const DiskImage& disk);
    void noteExtra(const DiskImage& disk);
    bool hasFailedOn(const std::string& name) const;

    std::map<std::int64_t, Record> records_;
    std::map<std::string, Numbers> held_;  // what was written into each queue's file since it was made
    std::set<std::string> removedFiles_;   // and not made again
    Numbers inDocuments_;                  // what documents carry, on disks and in uploads

    // Less than the host has recorded: acknowledged while the disk failed, and never written before the process ended.
    Numbers lost_;
    // Less, too: the process ended between the cut that empties a file and the header that tells from then on what was
    // in it; or before the next commit, where an answer had retired the document that was being filled. Or the disk
    // failed: the file was deleted, or its document retired, and it could not be read before, or no commit took what it
    // told.
    Numbers uncounted_;
    // More than the host has recorded. A loss of power brings back a file that was emptied or deleted, and counted. Or
    // the disk takes the document, or its end, and does not take the consumption of its queues before the process ends
    // or, of a file without a header, before that is deleted.
    std::map<std::string, std::uint64_t> extra_;

    // In the life at hand.
    std::map<std::string, Numbers> emptied_;  // what the file held then, where its header does not tell it
    std::map<std::string, Numbers> cut_;      // what each emptied file held then
    std::map<std::string, Numbers> deleted_;
    std::set<std::string> failedCalls_;
    std::set<std::string> retired_;  // documents
    bool hasLostPower_ = false;
    bool hasEverFailed_ = false;
    std::size_t life_ = 0;
};

}  // namespace harvelstone::testing
