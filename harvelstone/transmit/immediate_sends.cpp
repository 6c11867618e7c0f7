// Uploads one click or goal record at once, with the session section of the oldest pending document (TYPE_SESSION).
// Writes no store. Runs on the caller's thread; the answer is logged on the worker of the upload's operation queue.

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/HarvelstoneReachability.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/Tracker.hpp"
#include "harvelstone/transmit/upload_request.hpp"

namespace harvelstone {

namespace {

/// In what the click and the goal path differ.
struct ImmediateSend {
    std::string_view operation;
    std::string_view logTag;
    UploadKind upload;
    const TypeConstant& (*section)();
    /// Makes the record that is sent of the one passed in.
    Dictionary (*prepare)(DocumentManager& manager, const Dictionary& record);
};

Dictionary asPassed(DocumentManager& /*manager*/, const Dictionary& record) { return record; }

/// Stamped, and out of the goals that the page still has to report.
Dictionary stampedGoal(DocumentManager& manager, const Dictionary& record) {
    auto goal = record;
    manager.markVersionToJson(goal);
    setValue(goal, StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString());
    Tracker::sharedInstance().getCurrentPageMap()->clearGoalMapData();
    return goal;
}

constexpr ImmediateSend clickSend{
    .operation = "sendClickDataImmediately",
    .logTag = "DEBUG_HARVELSTONE_CLICK_DATA",
    .upload = {.logTag = "DEBUG_HARVELSTONE_JSON_CLICK_DATA", .outgoingEnd = " ", .setsContentLength = false},
    .section = &TrackType::TYPE_CLICK,
    .prepare = asPassed,
};

constexpr ImmediateSend goalSend{
    .operation = "sendGoalDataImmediately",
    .logTag = "DEBUG_HARVELSTONE_GOAL_DATA",
    .upload = {.logTag = "DEBUG_HARVELSTONE_JSON_GOAL_DATA", .outgoingEnd = " ", .setsContentLength = false},
    .section = &TrackType::TYPE_GOAL,
    .prepare = stampedGoal,
};

void logReply(std::string_view tag, const std::optional<std::string>& data) {
    try {
        const auto reply = platform::parseJsonBody(data);
        if (const auto* members = reply ? reply->dictionary() : nullptr)
            BSDebugger::log(fmt::format("{}[SERVER->SDK] {}", tag, platform::describe(*members)));
        else
            BSDebugger::log(fmt::format("{}[SERVER->SDK] jsonDict is nil", tag));
    } catch (const platform::Exception&) {
        BSDebugger::log(
            fmt::format("{}_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an Exception occurred.", tag));
    }
}

void startGuarded(const UploadKind& upload, const std::string& json, const std::optional<Value>& targetUri) {
    try {
        startUpload(upload, json, targetUri,
                    [tag = upload.logTag](const std::optional<std::string>& data) { logReply(tag, data); });
    } catch (const platform::Exception&) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    }
}

void send(DocumentManager& manager, const ImmediateSend& kind, const Dictionary& record) {
    if (!HarvelstoneReachability::isConnectedToNetwork()) {
        BSDebugger::log(fmt::format("{} Network is not connected.", kind.logTag));
        return;
    }
    const auto names = documetNameList->load();
    if (names->empty()) return;
    const auto targetUri = sessionManager->getConfig()->getTargetUri();
    const auto& documentId = names->at(0);
    // Of both paths: the goal path's line has the click tag, too, and so has the next. Meant so.
    BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_CLICK_DATA {}(documentID) : {}", kind.operation, documentId));
    const auto& sessionKey = TrackType::TYPE_SESSION().typeValue();
    // A copy of a section that is missing is empty.
    auto session = TinyMap::sharedInstance().get(documentId)->getMutableDictionary(sessionKey);
    if (session.empty()) {
        BSDebugger::log("DEBUG_HARVELSTONE_CLICK_DATA : none of the document. documentDic.count is zero.");
        return;
    }
    const Dictionary payload{{sessionKey, std::move(session)},
                             {kind.section().typeValue(), List{kind.prepare(manager, record)}}};
    std::string error;
    const auto json = platform::serializeJson(payload, error);
    if (!json) {
        BSDebugger::log(fmt::format("{} : An error {} ", kind.logTag, error));
        return;
    }
    startGuarded(kind.upload, *json, targetUri);
}

void sendGuarded(DocumentManager& manager, const ImmediateSend& kind, const Dictionary& record) {
    try {
        send(manager, kind, record);
    } catch (const platform::Exception& exception) {
        BSDebugger::log(fmt::format("{} : An Exception {} ", kind.logTag, platform::describe(exception)));
    }
}

}  // namespace

void DocumentManager::sendClickDataImmediately(const Dictionary& record) { sendGuarded(*this, clickSend, record); }

void DocumentManager::sendGoalDataImmediately(const Dictionary& record) { sendGuarded(*this, goalSend, record); }

}  // namespace harvelstone
