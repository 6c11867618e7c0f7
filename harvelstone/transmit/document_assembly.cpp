// Makes the content of a document's upload. Empties the document's queues (the goal, pages, click, revenue and push
// FILE_PREFIX) into its sections, reads the preference VISIT_NEW_SERVER_TIME. Runs on the thread of the pass.

#include "harvelstone/transmit/document_assembly.hpp"

#include <set>
#include <utility>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/platform/Snapshot.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/Tracker.hpp"

namespace harvelstone {

namespace {

bool isNewVisit(const Dictionary& session) { return findValue(session, StaticValues::PARAM_VISIT_NEW()) == Value("Y"); }

/// All queues or none: what a queue that cannot be read now kept would never be sent. The exception leaves the document
/// at the head as it was, for the next pass.
void fillFromQueues(DocumentManager& manager, NamedMap& document, const std::string& documentId) {
    const auto queue = [&](const std::string& prefix) { return manager.getQueue(prefix, documentId); };
    auto goals = queue(StaticValues::GOAL_FILE_PREFIX());
    // Merged at once: pages that cannot be merged leave the queues behind them untouched.
    auto pages = manager.mergePages(queue(StaticValues::PAGES_FILE_PREFIX()));
    auto clicks = queue(StaticValues::CLICK_FILE_PREFIX());
    auto revenues = queue(StaticValues::REVENUE_FILE_PREFIX());
    auto pushes = queue(StaticValues::PUSH_FILE_PREFIX());
    if (!storage_batch::keepsWhatItRead()) throw platform::Exception("a queue of the document cannot be read now");
    document.putMutableArray(TrackType::TYPE_GOAL().typeValue(), std::move(goals));
    document.putMutableArray(TrackType::TYPE_PAGES().typeValue(), std::move(pages));
    document.putMutableArray(TrackType::TYPE_CLICK().typeValue(), std::move(clicks));
    document.putMutableArray(TrackType::TYPE_REVENUE().typeValue(), std::move(revenues));
    if (!pushes.empty())
        document.putDictionary(TrackType::TYPE_PUSH().typeValue(), std::move(*pushes.front().dictionary()));
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

/// Of the documents that are being filled now.
constinit platform::NeverDestroyed<platform::Snapshot<std::set<std::string>>> idsInTurn;

}  // namespace

AssemblyTurn::AssemblyTurn(std::string documentId) : documentId_(std::move(documentId)) {
    idsInTurn->update([this](std::set<std::string> ids) {
        isMine_ = ids.insert(documentId_).second;
        return ids;
    });
}

AssemblyTurn::~AssemblyTurn() {
    if (!isMine_) return;
    idsInTurn->update([this](std::set<std::string> ids) {
        ids.erase(documentId_);
        return ids;
    });
}

std::shared_ptr<NamedMap> assembled(DocumentManager& manager, std::shared_ptr<NamedMap> document,
                                    const std::string& documentId) {
    fillFromQueues(manager, *document, documentId);
    document->putInt(StaticValues::RETRY_COUNT(), 1);
    addServerTime(*document);
    return manager.markVersionInfo(std::move(document));
}

bool hasConversionData(const NamedMap& document) {
    if (isNewVisit(document.getMutableDictionary(TrackType::TYPE_SESSION().toString()))) return true;
    for (const auto* type :
         {&TrackType::TYPE_GOAL(), &TrackType::TYPE_PAGES(), &TrackType::TYPE_CLICK(), &TrackType::TYPE_REVENUE()})
        if (!document.getMutableArray(type->typeValue()).empty()) return true;
    return document.has(TrackType::TYPE_PUSH().typeValue());
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
