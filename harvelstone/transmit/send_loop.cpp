// The send loop: one pass takes the oldest pending document through the gates, fills it from its queues (the goal,
// pages, click, revenue and push FILE_PREFIX) the first time, and starts its upload. Reads and writes the document's
// sections and RETRY_COUNT, the pending list (DOCUMENT_TARGET_NAME), and reads the preference VISIT_NEW_SERVER_TIME.
// Runs on the caller's thread: the host's, or the worker of the upload before.

#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/HarvelstoneReachability.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/Tracker.hpp"
#include "harvelstone/transmit/document_assembly.hpp"
#include "harvelstone/transmit/upload_request.hpp"

namespace harvelstone {

namespace {

constexpr platform::Seconds removalDelay{1.0};

constexpr UploadKind documentUpload{.logTag = "DEBUG_HARVELSTONE_JSON", .outgoingEnd = "", .setsContentLength = true};

/// The install referrer is waited for until the end of the start-up hold.
bool isHeldAtStart(DocumentManager& manager) {
    if (profiler->isInstallReferrerSet()) return false;
    if (sendStartTimestamp > std::trunc(BSUtil::currentTimeMillis())) {
        if (manager.getLtvt() == 1)
            BSDebugger::log("DEBUG_HARVELSTONE_JSON : EXIT By ltvt == 1 and install Check is false. ");
        return true;
    }
    profiler->putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    BSDebugger::log("DEBUG_HARVELSTONE_JSON : current time is over than 30 second from start the app.");
    return false;
}

/// Whether nothing stands against sending anything at all.
bool passesGates(DocumentManager& manager) {
    if (isHeldAtStart(manager)) return false;
    if (!profiler->shouldSend(/*respectsServerWait=*/true)) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : DEBUG_HARVELSTONE_JSON : EXIT By shouldSend is false.");
        return false;
    }
    if (sendLock) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : EXIT By sendLock is true.");
        return false;
    }
    if (!HarvelstoneReachability::isConnectedToNetwork()) {
        BSDebugger::log("DEBUG_HARVELSTONE_LOG : deleteOldestJsonFile Enter.");
        manager.deleteOldestJsonFile();
        return false;
    }
    return true;
}

bool isExpired(double createTime) {
    const double age = BSUtil::currentTimeMillis() - createTime;
    return age > BSConfig::sharedInstance().getMaxDataLifeTime() * 60.0 * 60.0;
}

/// Counts the attempt, whether it is made or not; says whether there were too many before it.
bool isExhausted(NamedMap& document) {
    const auto attempts = integerValue(document.get(StaticValues::RETRY_COUNT()));
    const auto isHighest = attempts == std::numeric_limits<std::int64_t>::max();
    document.putInt(StaticValues::RETRY_COUNT(), isHighest ? attempts : attempts + 1);
    return attempts >= MAX_RETRY_COUNT_FOR_SENDDOCUMENT;
}

/// What an earlier life has moved into the document: its queue files tell.
RecordCounts assembledEarlier(const DocumentNames& names, const std::string& documentId) {
    RecordCounts counts;
    for (const auto kind :
         {RecordKind::goal, RecordKind::page, RecordKind::click, RecordKind::revenue, RecordKind::push}) {
        const auto name = queuePrefix(kind) + documentId;
        // A look first: of a long list most documents have no queue.
        if (names.account().knowsAssembled(documentId, kind) || !canBeStored(name)) continue;
        if (!platform::Platform::current().fileSystem->exists(storedFilePath(name))) continue;
        if (const auto queue = QueueFile(name).count()) counts.emplace(kind, queue->consumed);
    }
    return counts;
}

/// The document is off the list already: without a timer its files are left to pruning, and the loop goes on.
void removeLater(DocumentManager& manager, const std::string& documentId) {
    const auto& machine = platform::Platform::current();
    try {
        machine.mainQueue->callAfter(
            removalDelay, [work = std::make_shared<OutstandingWork>(OutstandingWork::Kind::removal), &manager,
                           documentId] { manager.removeSentDocument(documentId); });
    } catch (const platform::Exception& exception) {
        machine.log->platformLine(
            fmt::format("harvelstone: the files of {} are left to pruning: {}", documentId, exception.reason()));
    }
}

/// A list of up to so many ids is stored at each retirement. Of a longer one that would take hours, because each time
/// all that is left is written; it is stored again when a fifth of it has gone. A crash in between loses nothing: the
/// documents retired since are looked at once more.
constexpr std::size_t longestShortList = 100;
constexpr std::size_t fifths = 5;

bool isStoreDue(std::size_t rest, std::size_t retiredSince) {
    return rest <= longestShortList || fifths * retiredSince >= rest + retiredSince;
}

}  // namespace

/// A run of passes, one after another for as long as each retires its document.
class DocumentManager::SendRun {
  public:
    /// What a step leads to.
    enum class Next { pass, upload, stop };
    using Step = Next (SendRun::*)();

    explicit SendRun(DocumentManager& manager) : manager_(manager) {}
    /// For the answer to an upload.
    SendRun(DocumentManager& manager, std::string uploadedId, Fate fateOfUploaded)
        : manager_(manager), uploadedId_(std::move(uploadedId)), fateOfUploaded_(fateOfUploaded) {}

    /// The edge of the send loop: an exception ends the run and leaves its document at the head.
    void start(Step firstStep) {
        try {
            if (runSteps(firstStep) == Next::upload)
                startUpload(documentUpload, json_, targetUri_,
                            [&manager = manager_, id = documentId_](const std::optional<std::string>& data) {
                                manager.handleReply(id, data);
                            });
        } catch (const platform::Exception&) {
            BSDebugger::log("DEBUG_HARVELSTONE_JSON : an Exception occurred.");
        }
    }

    Next pass() {
        const StorageBatch batch;
        manager_.printCurrentFiles();
        if (!passesGates(manager_)) return Next::stop;
        const auto names = documetNameList->load();
        BSDebugger::log(
            [&] { return fmt::format("documetNameList : {}", platform::describe(Value(names->asList()))); });
        if (names->empty()) {
            BSDebugger::log("DEBUG_HARVELSTONE_LOG : createDocument Enter.");
            return startAfresh();
        }
        targetUri_ = sessionManager->getConfig()->getTargetUri();
        documentId_ = names->at(0);
        BSDebugger::log(fmt::format("DocumentManager.sendDocument(documentID) : {}", documentId_));
        return prepare(TinyMap::sharedInstance().get(documentId_));
    }

    /// Whatever is the head of the list, it goes.
    Next retireHead() {
        return takeOffHead([this](const std::string& head) -> std::optional<Fate> {
            const bool isOther = !uploadedId_.empty() && head != uploadedId_;
            return isOther ? Fate::otherAnswered : fateOfUploaded_;
        });
    }

    /// The head document is done, if it has not left the list already.
    Next finishHead() {
        if (!documetNameList->load()->empty()) return retireHead();
        return startAfreshInstead();
    }

  private:
    Next runSteps(Step firstStep) {
        auto next = Next::stop;
        try {
            next = (this->*firstStep)();
            while (next == Next::pass) next = pass();
        } catch (...) {
            storeOwedNames();
            throw;
        }
        // Whatever the passes put is on disk by now: a crash during the upload sends the document again, with its
        // attempts counted.
        storeOwedNames();
        return next;
    }

    Next prepare(std::shared_ptr<NamedMap> document) {
        if (!document->load()) throw platform::Exception("the document cannot be read now");
        const auto session = document->get(TrackType::TYPE_SESSION().typeValue());
        if (!session || session->dictionary() == nullptr) return retire(Fate::sessionMissing);
        if (session->dictionary()->empty()) {
            BSDebugger::log("DEBUG_HARVELSTONE_JSON : none of the document. documentDic.count is zero.");
            return Next::stop;
        }
        if (isExpired(doubleValue(findValue(*session->dictionary(), StaticValues::CREATE_TIME()))))
            return retireExpired();
        if (!document->has(StaticValues::RETRY_COUNT())) {
            document = assembled(manager_, std::move(document), documentId_);
            // Consumed on disk before the list is stored: if this pass retires the document, the ledger counts what it
            // holds, and must not find it unread in its queues, too.
            StorageBatch().commit();
            documetNameList->update([&](const DocumentNames& names) { return names.withQueuesConsumed(documentId_); });
        } else if (isExhausted(*document)) {
            BSDebugger::log(
                fmt::format("DEBUG_HARVELSTONE_JSON : this document retry count is more than 3. {}", documentId_));
            return retire(Fate::retriesExhausted);
        }
        document->save();
        return prepareUpload(std::move(document));
    }

    Next retireExpired() {
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_JSON : this document life time is over. {}", documentId_));
        return retire(Fate::expired);
    }

    Next prepareUpload(std::shared_ptr<NamedMap> document) {
        if (!hasConversionData(*document)) {
            BSDebugger::log("DEBUG_HARVELSTONE_sendAsynchronousRequest : this page doesn't have the conversion data.");
            BSDebugger::log("DEBUG_HARVELSTONE_LOG : nextSendDocument Enter.");
            return retire(Fate::noConversionData);
        }
        if (Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded) {
            BSDebugger::log(
                "DEBUG_HARVELSTONE_SENDDOCUMENT_LIMIT_TRAFFIC : This Service exceeded analytic traffic limit. Your "
                "request is skipped.");
            return documetNameList->load()->empty() ? startAfreshInstead() : retire(Fate::trafficLimit);
        }
        json_ = payloadOf(manager_, std::move(document));
        return Next::upload;
    }

    /// Retires the document of this pass. If an overlapping pass was faster, another document is the head by now, which
    /// nobody has looked at yet: it stays, and the faster pass goes on with it.
    Next retire(Fate fate) {
        return takeOffHead(
            [this, fate](const std::string& head) { return head == documentId_ ? std::optional(fate) : std::nullopt; });
    }

    /// Takes the head off the list if `fateOf` gives it a fate.
    template <typename FateOf>
    Next takeOffHead(FateOf fateOf) {
        std::optional<std::string> head;
        std::optional<Fate> fate;
        RecordCounts earlier;
        const auto rest = documetNameList->update([&](const DocumentNames& names) {
            const auto before = std::exchange(head, names.empty() ? std::nullopt : std::optional(names.at(0)));
            fate = head ? fateOf(*head) : std::nullopt;
            if (!fate) return names;
            if (head != before) earlier = assembledEarlier(names, *head);
            return names.withoutFirst(*fate, earlier);
        });
        if (!head)
            BSDebugger::log(
                "DEBUG_HARVELSTONE_sendAsynchronousRequest : nextSendDocument->documentNamelist.size == 0  ");
        if (!fate) return Next::stop;
        storeNames(rest->size());
        recordFate(*head, *fate);
        removeLater(manager_, *head);
        return rest->empty() ? startAfresh() : Next::pass;
    }

    Next startAfreshInstead() {
        startAfresh();
        BSDebugger::log("DEBUG_HARVELSTONE_SENDDOCUMENT skip by documentNameList size is zero. ");
        return Next::stop;
    }

    Next startAfresh() {
        currentDocument->store(manager_.createDocument());
        return Next::stop;
    }

    /// The first time in any case: that document may have been uploaded just now, and a crash must not send it again.
    void storeNames(std::size_t rest) {
        ++owedRetirements_;
        if (!std::exchange(hasStoredNames_, true) || isStoreDue(rest, owedRetirements_)) storeOwedNames();
    }

    void storeOwedNames() {
        if (std::exchange(owedRetirements_, 0) > 0) storeDocumentNames();
    }

    DocumentManager& manager_;
    const std::string uploadedId_;
    const Fate fateOfUploaded_ = Fate::sent;
    std::string documentId_;  // which the pass looks at
    bool hasStoredNames_ = false;
    std::size_t owedRetirements_ = 0;  // since the list was stored
    std::string json_;
    std::optional<Value> targetUri_;
};

void DocumentManager::sendDocument() { SendRun(*this).start(&SendRun::pass); }

void DocumentManager::nextSendDocument() { SendRun(*this).start(&SendRun::retireHead); }

void DocumentManager::finishUpload(const std::string& documentId, Fate fate) {
    SendRun(*this, documentId, fate).start(&SendRun::finishHead);
}

}  // namespace harvelstone
