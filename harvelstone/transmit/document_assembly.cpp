// Makes the content of a document's upload. Empties the document's queues (the goal, pages, click, revenue and push
// FILE_PREFIX) into its sections, reads the preference VISIT_NEW_SERVER_TIME. Runs on the thread of the pass.

#include "harvelstone/transmit/document_assembly.hpp"

#include <iterator>
#include <utility>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/Tracker.hpp"

namespace harvelstone {

namespace {

bool isNewVisit(const Dictionary& session) { return findValue(session, StaticValues::PARAM_VISIT_NEW()) == Value("Y"); }

/// A null pointer where there is no list.
const List* recordsIn(const Dictionary& members, const std::string& key) {
    const auto found = members.find(key);
    return found == members.end() ? nullptr : found->second.list();
}

/// What a pass has taken out of a document's queues.
struct Drained {
    List goals;
    std::size_t pageRecords = 0;  // before they were merged
    List pages;
    List clicks;
    List revenues;
    List pushes;

    /// The sections once this is in them, behind what another pass has put there meanwhile. Only one push counts. The
    /// records move there.
    Dictionary addedTo(const Dictionary& held) {
        Dictionary sections;
        const auto append = [&](const TypeConstant& type, List& records) {
            const auto* before = recordsIn(held, type.typeValue());
            auto all = before ? *before : List();
            all.insert(all.end(), std::move_iterator(records.begin()), std::move_iterator(records.end()));
            sections.emplace(type.typeValue(), std::move(all));
        };
        append(TrackType::TYPE_GOAL(), goals);
        append(TrackType::TYPE_PAGES(), pages);
        append(TrackType::TYPE_CLICK(), clicks);
        append(TrackType::TYPE_REVENUE(), revenues);
        const auto& pushKey = TrackType::TYPE_PUSH().typeValue();
        if (!pushes.empty() && !held.contains(pushKey)) sections.emplace(pushKey, std::move(pushes.front()));
        return sections;
    }

    RecordCounts counts() const {
        return {{RecordKind::goal, goals.size()},
                {RecordKind::page, pageRecords},
                {RecordKind::click, clicks.size()},
                {RecordKind::revenue, revenues.size()},
                {RecordKind::push, pushes.size()}};
    }
};

/// Before the document shows that it was filled, so that whoever retires it then knows how many records it holds.
void countAssembled(const std::string& documentId, const RecordCounts& counts) {
    documetNameList->update([&](const DocumentNames& names) { return names.withAssembled(documentId, counts); });
}

/// They have left their queue, whose file would tell otherwise that the document holds them.
void countMergeFailure(const std::string& documentId, std::size_t pageRecords) {
    documetNameList->update([&](const DocumentNames& names) {
        auto account = names.account();
        account.settle(RecordKind::page, mergeFailed, pageRecords);
        return names.withAccount(std::move(account)).withAssembled(documentId, {{RecordKind::page, 0}});
    });
}

/// All queues or none: what a queue that cannot be read now kept would never be sent. The exception leaves the document
/// at the head as it was, for the next pass. Passes that overlap take each record once, and each adds what it has.
void fillFromQueues(DocumentManager& manager, NamedMap& document, const std::string& documentId) {
    const auto queue = [&](const std::string& prefix) { return manager.getQueue(prefix, documentId); };
    Drained drained;
    drained.goals = queue(StaticValues::GOAL_FILE_PREFIX());
    auto pages = queue(StaticValues::PAGES_FILE_PREFIX());
    drained.pageRecords = pages.size();
    try {
        // Merged at once: pages that cannot be merged leave the queues behind them untouched.
        drained.pages = manager.mergePages(std::move(pages));
    } catch (const platform::Exception&) {
        countMergeFailure(documentId, drained.pageRecords);
        countAssembled(documentId, {{RecordKind::goal, drained.goals.size()}});
        document.update([&](const Dictionary& held) { return drained.addedTo(held); });  // the goals are sent later
        throw;
    }
    drained.clicks = queue(StaticValues::CLICK_FILE_PREFIX());
    drained.revenues = queue(StaticValues::REVENUE_FILE_PREFIX());
    drained.pushes = queue(StaticValues::PUSH_FILE_PREFIX());
    if (!storage_batch::keepsWhatItRead()) throw platform::Exception("a queue of the document cannot be read now");
    countAssembled(documentId, drained.counts());
    document.update([&](const Dictionary& held) {
        auto members = drained.addedTo(held);
        // A pass that was here meanwhile has counted its attempt.
        if (!held.contains(StaticValues::RETRY_COUNT())) members.emplace(StaticValues::RETRY_COUNT(), 1);
        return members;
    });
}

/// The server's time of the new visit goes into the documents that follow it, not into the new visit's own.
void addServerTime(NamedMap& document) {
    const auto& sessionKey = TrackType::TYPE_SESSION().typeValue();
    const auto& timeKey = StaticValues::VISIT_NEW_SERVER_TIME();
    auto session = document.getMutableDictionary(sessionKey);
    if (isNewVisit(session)) return;
    const auto time = BSConfig::sharedInstance().getPrefValue(timeKey);
    if (!time) return;
    setValue(session, timeKey, time);
    document.putDictionary(sessionKey, std::move(session));
}

bool holdConversionData(const Dictionary& sections) {
    const auto session = sections.find(TrackType::TYPE_SESSION().toString());
    if (session != sections.end() && session->second.dictionary() && isNewVisit(*session->second.dictionary()))
        return true;
    for (const auto* type :
         {&TrackType::TYPE_GOAL(), &TrackType::TYPE_PAGES(), &TrackType::TYPE_CLICK(), &TrackType::TYPE_REVENUE()})
        if (const auto* records = recordsIn(sections, type->typeValue()); records && !records->empty()) return true;
    const auto push = sections.find(TrackType::TYPE_PUSH().typeValue());
    return push != sections.end() && !push->second.isNull();
}

}  // namespace

std::shared_ptr<NamedMap> assembled(DocumentManager& manager, std::shared_ptr<NamedMap> document,
                                    const std::string& documentId) {
    fillFromQueues(manager, *document, documentId);
    addServerTime(*document);
    return manager.markVersionInfo(std::move(document));
}

bool hasConversionData(const NamedMap& document) {
    bool answer = false;
    document.read([&](const Dictionary& held) { answer = holdConversionData(held); });
    return answer;
}

std::string payloadOf(DocumentManager& manager, std::shared_ptr<NamedMap> document) {
    if (HarvelstoneCore::getAppOpenFlag()) document = manager.markAppOpenFlag(std::move(document));
    auto& tracker = Tracker::sharedInstance();
    const auto customPush = tracker.customPushMapData();
    const bool hasCustomPush = customPush && !customPush->empty();
    if (hasCustomPush) document->putDictionary(TrackType::TYPE_PUSH().typeValue(), *customPush);
    auto json = document->jsonString();
    if (hasCustomPush) tracker.setCustomPushMapData(std::nullopt);
    return json;
}

}  // namespace harvelstone
