// The host's face: checks what comes in, hands it to the document manager and its collaborators, and writes the page,
// click, revenue and push records to the queues of the newest document. Runs on the host's threads.

#include "harvelstone/api/Analytics.hpp"

#include <mutex>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/Fate.hpp"
#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"

namespace harvelstone {

namespace {

/// The goal is remembered, then recorded: of two threads each has to record its own. Recursive, so that a goal from
/// inside a debug log of the host's does not wait for itself.
constinit platform::PerProcess<std::recursive_mutex> goalLock;

DocumentManager& manager() { return DocumentManager::sharedInstance(); }

/// The record as it is queued: its date first, which the host's own replaces. A short page record without one could not
/// be folded, and would take the other records of its document with it.
Dictionary datedRecord(const Dictionary& record) {
    Dictionary dated = record;
    auto& date = dated[StaticValues::PARAM_VT_TZ()];
    if (date.isNull()) date = BSUtil::getCurrentDateString();
    return dated;
}

/// Records into the newest document. While the last pending one is being retired on another thread there is none for a
/// moment; then one is made, so that the record has its place.
template <typename Recording>
void intoNewestDocument(Recording recording) {
    constexpr int attempts = 1000;  // another pass may retire that one, too, before the record is in it
    for (int attempt = 1;; ++attempt) {
        try {
            return recording();
        } catch (const platform::RangeException&) {
            if (attempt == attempts) throw;
            manager().loadDocument();
        }
    }
}

/// Appends the record to the newest document's queue; the visitor did something.
void queueRecord(const std::string& prefix, const Dictionary& record) {
    if (record.contains("")) throw platform::InvalidArgumentException("the record has a member without a name");
    const auto dated = datedRecord(record);
    intoNewestDocument([&] { QueueFile(prefix + manager().getLaistDocId()).add(dated); });
    SessionManager::sharedInstance().touch();
}

void requireText(std::string_view text, std::string_view what) {
    if (text.empty()) throw platform::InvalidArgumentException(std::string(what) + " is empty");
}

}  // namespace

void Analytics::setProfile(const Dictionary& values) {
    ProfileManager::sharedInstance().setProfile(withNullsEmptied(values));
}

void Analytics::setConsent(bool granted) { ProfileManager::sharedInstance().setConsent(granted); }

void Analytics::startVisit() { manager().startSession(); }

void Analytics::endVisit() { SessionManager::sharedInstance().endVisit(); }

void Analytics::appOpened() { HarvelstoneCore::setAppOpenFlag(true); }

void Analytics::refreshDocument() { manager().updateDocument(); }

void Analytics::page(const std::string& name, const Dictionary& details) {
    requireText(name, "the page name");
    auto record = details;
    // With the date these make five members, which is what makes a page record complete.
    record.try_emplace(StaticValues::PARAM_NAME(), name);
    record.try_emplace(StaticValues::PARAM_SID(), SessionManager::sharedInstance().getSid(std::nullopt));
    record.try_emplace(StaticValues::PARAM_VS(), 0);
    record.try_emplace(StaticValues::PARAM_CS_P_V(), 1);
    pageRecord(record);
}

void Analytics::pageRecord(const Dictionary& record) {
    const StorageBatch batch;
    queueRecord(StaticValues::PAGES_FILE_PREFIX(), record);
    manager().addCsPV();
}

void Analytics::pageProgress(double visitSeconds, std::int64_t pageViews) {
    queueRecord(StaticValues::PAGES_FILE_PREFIX(),
                {{StaticValues::PARAM_VS(), visitSeconds}, {StaticValues::PARAM_CS_P_V(), pageViews}});
}

void Analytics::click(const Dictionary& record) { queueRecord(StaticValues::CLICK_FILE_PREFIX(), record); }

void Analytics::revenue(const Dictionary& record) {
    const StorageBatch batch;
    queueRecord(StaticValues::REVENUE_FILE_PREFIX(), record);
    ProfileManager::sharedInstance().markRevenue();
}

void Analytics::pushOpened(const Dictionary& record) { queueRecord(StaticValues::PUSH_FILE_PREFIX(), record); }

void Analytics::setProduct(const std::string& code, std::optional<std::string> name) {
    requireText(code, "the product code");
    manager().setProduct(code, std::move(name));
}

void Analytics::setProductCategory(const std::string& code, std::optional<std::string> name) {
    requireText(code, "the category code");
    manager().setProductCategory(code, std::move(name));
}

void Analytics::goal(std::int64_t number, std::int64_t value) {
    const std::lock_guard lock(*goalLock);
    manager().setGoal(number, value);
    intoNewestDocument([] { manager().putGoal(); });
}

void Analytics::event(const Value& type, const Value& name, const Value& value) {
    intoNewestDocument([&] { manager().setEvent(type, name, value); });
}

void Analytics::campaign(const Value& type, const Value& name, const Value& value, const Value& referrer) {
    intoNewestDocument([&] { manager().setCampaign(type, name, value, referrer); });
}

void Analytics::installReferrer(const Dictionary& values) {
    const StorageBatch batch;
    manager().putInstallData(values);
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), /*value=*/true);
}

void Analytics::send() { manager().sendDocument(); }

void Analytics::sendClickImmediately(const Dictionary& record) { manager().sendClickDataImmediately(record); }

void Analytics::sendGoalImmediately(const Dictionary& record) { manager().sendGoalDataImmediately(record); }

FlushReceipt Analytics::flush(std::chrono::milliseconds deadline) {
    const auto before = fateCounts();
    manager().sendDocument();
    FlushReceipt receipt;
    receipt.complete = OutstandingWork::waitUntilNone(OutstandingWork::Kind::upload, deadline);
    const auto counts = fateCounts() - before;
    receipt.documentsSent = counts[Fate::sent];
    receipt.documentsDropped = counts.dropped();
    receipt.documentsStillStored = documetNameList->load()->size();
    receipt.ledger = currentLedger();
    return receipt;
}

Ledger Analytics::ledger() {
    static_cast<void>(manager());  // restores what earlier lives counted
    return currentLedger();
}

}  // namespace harvelstone
