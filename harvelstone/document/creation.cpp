// Makes documents. Writes the session and postback sections of the new one (TYPE_SESSION with CREATE_TIME,
// TYPE_POSTBACK), the pending list (DOCUMENT_TARGET_NAME) and, through the session pipeline, the visit counters. Runs
// on the caller's thread: the host's, start-up's, or an upload's worker when the list has run empty.

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone {

namespace {

/// A revenue of the visit before ends its attribution: the next visit starts without traces.
void settleRevenue() {
    if (!profiler->isMarkRevenue()) return;
    profiler->clearSessionTrace(StaticValues::PARAM_MAT_SOURCE_TRACE());
    profiler->clearSessionTrace(StaticValues::PARAM_MAT_CAMPAIGN_TRACE());
    profiler->unMarkRevenue();
}

/// "<session id>_<seconds since 1970 with six decimals>".
std::string makeDocumentId(std::string_view sessionId, double seconds) {
    return fmt::format("{}_{:.6f}", sessionId, seconds);
}

}  // namespace

std::shared_ptr<NamedMap> DocumentManager::createDocument() {
    const StorageBatch batch;
    adoptForkedDocuments();
    settleRevenue();
    const auto sessionId = sessionManager->getSession(0);
    const auto documentId = makeDocumentId(sessionId, BSUtil::currentTimeMillis());
    BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_CONFIG : documentID --> {} ", documentId));
    auto document = TinyMap::sharedInstance().get(documentId);

    auto session = getSessionConfigJson();
    session = putSessionDefault(std::move(session), documentId);
    session = putSessionDBDefault(std::move(session));
    session = putSessionProfile(std::move(session));
    session = putAdProfile(std::move(session), /*isInstallData=*/false);
    session = putSessionInitData(std::move(session));
    setValue(session, StaticValues::CREATE_TIME(), BSUtil::currentTimeMillis());

    document->putDictionary(TrackType::TYPE_SESSION().toString(), std::move(session));
    document->putDictionary(TrackType::TYPE_POSTBACK().toString(),
                            HarvelstonePostback::sharedInstance().getPostbackJosn());
    // Not every file system keeps the order of renamings when power is lost: each of the three steps of a new document
    // is on disk before the next begins.
    (*documentDB)->commitAfter(document);
    documetNameList->update([&](const DocumentNames& names) { return names.withAppended(documentId); });
    storeDocumentNames();
    (*documentDB)->save();
    sessionManager->updateLastSessionID(sessionManager->getSession(0));
    currentDocument->store(document);
    return document;
}

}  // namespace harvelstone
