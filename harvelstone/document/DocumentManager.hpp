#pragma once

// Contents                                                     bodies in
//   Process-wide state                                         document/process_state.cpp
//   The singleton, start-up                                    document/lifecycle.cpp
//   Registry: current document, newest ids, queues             document/registry.cpp
//   Creation                                                   document/creation.cpp
//   Session pipeline: configuration snapshot                   session/configuration_snapshot.cpp
//                     defaults                                 session/session_defaults.cpp
//                     visit counters                           session/visit_counters.cpp
//                     profile, stored defaults, init data      session/profile_sections.cpp
//                     advertising and install referrer         session/advertising.cpp
//   Records: goals, events, campaigns, products                records/record_queues.cpp
//            version marking                                   records/version_marking.cpp
//            page merging                                      records/page_merging.cpp
//   Transmission: send loop                                    transmit/send_loop.cpp
//                 reply of a document's upload                 transmit/document_reply.cpp
//                 immediate click and goal sends               transmit/immediate_sends.cpp
//                 percent-encoding                             transmit/percent_encoding.cpp
//   Housekeeping: removal of a sent document                   housekeeping/sent_document_removal.cpp
//                 pruning by age                               housekeeping/oldest_file_pruning.cpp

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "harvelstone/document/DocumentAccount.hpp"
#include "harvelstone/document/Fate.hpp"
#include "harvelstone/platform/HttpClient.hpp"
#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Snapshot.hpp"
#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"

namespace harvelstone {

// ---- Process-wide state: document/process_state.cpp ----
//
// It exists once a process, is shared by every operation and outlives any one call. No operation locks it: scalars are
// atomic, the list is an immutable state that is swapped whole, so no pass is ever kept out by another. A child made by
// fork has its own: what stands here as a plain variable is a constant, or set by its start-up before anything reads
// it.

/// Ids of the documents that wait to be sent, oldest first; the last is the newest document's. With them goes the
/// account of all documents, so that no state of the list is ever without its own.
class DocumentNames {
  public:
    DocumentNames() : DocumentNames(std::vector<std::string>()) {}
    /// Documents that no account knows: they count as created.
    explicit DocumentNames(std::vector<std::string> names);
    DocumentNames(std::vector<std::string> names, DocumentAccount account);

    bool empty() const { return size() == 0; }
    std::size_t size() const { return names_->size() - first_; }
    /// Raises platform::RangeException outside the list.
    const std::string& at(std::size_t index) const;

    /// A document was created.
    DocumentNames withAppended(std::string name) const;
    /// Those that an ended child left in that folder come behind these, with their account; once for a folder.
    DocumentNames withAdopted(const DocumentNames& childs, const std::string& folder) const;
    /// The same list, where none but these folders count as taken over.
    DocumentNames withAdoptedFolders(std::set<std::string> folders) const;
    /// The oldest document has met its fate. Shares the names with this list, so that a long list is retired without
    /// copying it each time. Raises platform::RangeException when the list is empty.
    /// `earlier` says what it holds of the records that its account does not know of.
    DocumentNames withoutFirst(Fate fate, const RecordCounts& earlier = {}) const;
    /// Records were moved into the document. If it has left the list meanwhile, their fate is that of one that another
    /// document's answer retired.
    DocumentNames withAssembled(const std::string& documentId, const RecordCounts& counts) const;
    /// What was moved into the document has left its queues on disk.
    DocumentNames withQueuesConsumed(const std::string& documentId) const;
    /// The same list with another account.
    DocumentNames withAccount(DocumentAccount account) const;

    /// With the documents of earlier lives in front, and both accounts added up.
    DocumentNames behind(const DocumentNames& earlier) const;

    bool contains(const std::string& name) const;
    List asList() const;
    std::vector<std::string> asVector() const;
    const DocumentAccount& account() const { return account_; }

  private:
    std::shared_ptr<const std::vector<std::string>> names_;
    std::size_t first_ = 0;
    DocumentAccount account_;
};

/// The end of the start-up hold, seconds since 1970: 30 seconds after the manager was made.
extern std::atomic<double> sendStartTimestamp;
/// A counter that nothing reads; kept on purpose.
extern std::atomic<std::int64_t> sendRcount;
/// Refuses a pass while it is set. Nothing in the component sets it, the completion of an upload clears it; kept so on
/// purpose, as a guard that nothing arms.
extern std::atomic<bool> sendLock;
/// Collaborators, bound at start-up.
extern SessionManager* sessionManager;
extern ProfileManager* profiler;
/// The document DB map: the pending list and what is kept across visits.
extern platform::PerProcess<std::shared_ptr<NamedMap>> documentDB;
/// The key of the pending list in the document DB map.
extern platform::NeverDestroyed<std::string> DOCUMENT_TARGET_NAME;
/// The pending list. The name is spelled so on purpose.
extern platform::PerProcess<platform::Snapshot<DocumentNames>> documetNameList;
/// The document into which new data goes.
extern platform::PerProcess<platform::Snapshot<std::shared_ptr<NamedMap>>> currentDocument;
/// The age limit of a stored file, in whole hours. The name is spelled so on purpose.
extern std::atomic<std::int64_t> MAX_LEFE_TIME_JSONFILE;
/// A document whose stored retry count has reached this is given up.
extern std::atomic<std::int64_t> MAX_RETRY_COUNT_FOR_SENDDOCUMENT;

/// Turns visits and what happens in them into documents, one a visit, and uploads them one at a time.
///
/// One object a process, made by the first `sharedInstance` and never destroyed. Calls come on the host's threads,
/// normally the main thread, and on the workers of its own uploads; every operation may be called from any thread.
/// Unless said otherwise an operation raises nothing but what its collaborators raise: putting an absent value into a
/// section or a record raises platform::InvalidArgumentException.
class DocumentManager {
  public:
    DocumentManager(const DocumentManager&) = delete;
    DocumentManager& operator=(const DocumentManager&) = delete;

    // ---- The singleton: document/lifecycle.cpp ----

    /// The one manager. The first call restores the pending list and makes a new document, all under a recursive lock
    /// that every call takes; when that raises, the next call tries again.
    static DocumentManager& sharedInstance();

    // ---- Registry: document/registry.cpp ----

    /// A visit starts: does exactly `loadDocument`.
    void startSession();
    /// Chooses the current document: a new one for a new visit or when none is pending, else the newest.
    void loadDocument();
    /// Refreshes the current document's stored counters, profile, advertising and postback data, and returns it.
    std::shared_ptr<NamedMap> updateDocument();
    /// The newest id as it is stored, "" when there is none.
    std::string getLastDocumentID();
    /// The newest id in memory; raises platform::RangeException when no document is pending. The name is spelled so on
    /// purpose.
    std::string getLaistDocId();
    /// Takes all records out of the queue named prefix + documentID, oldest first.
    List getQueue(const std::string& prefix, const std::string& documentID);
    /// Logs how many files are stored, if the SDK's lock state is on and there are any.
    void printCurrentFiles();
    void addCsPV();
    /// The page-view count of the current session.
    std::int64_t getCsPV();

    // ---- Creation: document/creation.cpp ----

    /// Makes the document of a new visit, appends its id to the pending list and makes it current.
    std::shared_ptr<NamedMap> createDocument();

    // ---- Session pipeline. Each step takes the session section and returns it with its keys ----

    // session/configuration_snapshot.cpp
    Dictionary getSessionConfigJson();

    // session/session_defaults.cpp
    Dictionary putSessionDefault(Dictionary session, const std::string& documentId);
    /// The host app's bundle identifier. The name is spelled so on purpose.
    std::string getbunddleId();

    // session/visit_counters.cpp
    /// Adds the days since the latest document to the lifetime visit interval.
    void updateLtvi();
    /// Counts the run of return visits: one more within the configured days, else from 1 again.
    void updateUdVt();
    /// Whether the visit is the first of its day, week, month: 0 no, 1 day, 2 day and week, 3 all, 4 day and month.
    /// Renews the periods whatever the answer.
    std::int64_t getUniVt(const std::optional<std::string>& visitNew);
    /// "Y" for the first visit of a weekly-user period, else "N"; renews the period only with "Y".
    std::string getWeeklyUniqueUsType(const std::optional<std::string>& visitNew);
    /// The number of new visits so far.
    std::int64_t getLtvt();

    // session/profile_sections.cpp
    Dictionary putSessionDBDefault(Dictionary session);
    Dictionary putSessionProfile(Dictionary session);
    Dictionary putSessionInitData(Dictionary session);

    // session/advertising.cpp
    Dictionary putAdProfile(Dictionary session, bool isInstallData);
    /// Takes an install referrer's values into the attribution data; keys that are not known are ignored.
    void putInstallData(const Dictionary& referrer);

    // ---- Records: records/record_queues.cpp ----

    /// Remembers the goal that `putGoal` records until the next call.
    void setGoal(std::int64_t goal, std::int64_t value);
    /// Records the remembered goal with the remembered product and category; raises when one of those was never set.
    void putGoal();
    /// Remembered for every goal from now on. An absent name is stored as ""; an absent code raises.
    void setProduct(std::optional<std::string> code, std::optional<std::string> name);
    void setProductCategory(std::optional<std::string> code, std::optional<std::string> name);
    void setEvent(std::optional<Value> type, std::optional<Value> name, std::optional<Value> value);
    void setCampaign(std::optional<Value> type, std::optional<Value> name, std::optional<Value> value,
                     std::optional<Value> referer);

    // ---- Version marking: records/version_marking.cpp ----

    /// Stamps the app's and the SDK's version into the record, in place, and returns it.
    Dictionary& markVersionToJson(Dictionary& record);
    /// Replaces each record by a stamped copy and returns the list.
    List& markVersionArr(List& records);
    /// Stamps every section of the document that holds records; an exception ends it quietly.
    std::shared_ptr<NamedMap> markVersionInfo(std::shared_ptr<NamedMap> document);
    /// Moves the app-open flag into the session section; an exception ends it quietly and leaves the flag.
    std::shared_ptr<NamedMap> markAppOpenFlag(std::shared_ptr<NamedMap> document);

    // ---- Page merging: records/page_merging.cpp ----

    /// Folds each run of short page records into one summary; complete records stay as they are.
    List mergePages(List pages);

    // ---- Transmission ----

    // transmit/send_loop.cpp
    /// One pass: sends the oldest pending document if nothing stands against it, retiring on the way those that cannot
    /// be sent any more. Raises nothing of the platform's kind.
    void sendDocument();
    /// Retires the oldest pending document, whose files are removed a second later, and goes on with the next.
    void nextSendDocument();

    // transmit/immediate_sends.cpp
    /// Uploads one record at once with the session section of the oldest pending document. Nothing is stored; without a
    /// network or a pending document the record is lost.
    void sendClickDataImmediately(const Dictionary& record);
    void sendGoalDataImmediately(const Dictionary& record);

    // transmit/percent_encoding.cpp
    /// Escapes every byte that is no ASCII letter, digit, "-", ".", "_" or "~". The name is spelled so on purpose.
    std::string changeURLEncading(const std::string& text);

    // ---- Housekeeping ----

    // housekeeping/sent_document_removal.cpp
    /// Prunes, then deletes the document's map and its goal, pages, revenue and push queues.
    void removeSentDocument(const std::string& documentId);
    /// Deletes one file; the outcome is a log line.
    void deletePath(const std::string& path);

    // housekeeping/oldest_file_pruning.cpp
    /// Deletes every stored file older than MAX_LEFE_TIME_JSONFILE whole hours but those of the long-lived stores.
    void deleteOldestJsonFile();

  private:
    DocumentManager();
    ~DocumentManager() = default;

    // housekeeping/sent_document_removal.cpp
    /// Deletes one file. `unreadFate` says in the ledger what becomes of the unread records, if it is a queue's.
    void deleteFile(const std::string& path, std::string_view unreadFate);

    // transmit/send_loop.cpp
    class SendRun;
    /// The document's upload has ended so; whatever is the head of the list is retired, and the next is sent.
    void finishUpload(const std::string& documentId, Fate fate);

    // transmit/document_reply.cpp
    void handleReply(const std::string& documentId, const std::optional<std::string>& data);
};

}  // namespace harvelstone
