// The answer to a document's upload. Writes the server's time of a new visit into the preferences
// (VISIT_NEW_SERVER_TIME), hands the reply to the profile manager and forgets the postback referrer. Runs on the worker
// of the upload's operation queue.

#include <fmt/format.h>
#include <memory>
#include <string>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"

namespace harvelstone {

namespace {

constexpr platform::Seconds repeatDelay{1.0};

/// On this thread's own loop, which lives as long as it has work.
void repeatLater() {
    auto loop = platform::RunLoop::current();
    if (!loop) loop = platform::Platform::current().mainQueue;
    loop->callAfter(repeatDelay, [work = std::make_shared<OutstandingWork>(OutstandingWork::Kind::upload)] {
        DocumentManager::sharedInstance().sendDocument();
    });
}

void keepServerTime(const Dictionary& reply) {
    const auto& key = StaticValues::VISIT_NEW_SERVER_TIME();
    if (const auto time = findValue(reply, key)) BSConfig::sharedInstance().putPref(key, *time);
}

/// Takes the reply in; says whether the upload will be repeated.
bool takeReply(const std::optional<std::string>& data) {
    const StorageBatch batch;
    const auto reply = platform::parseJsonBody(data);
    if (!reply || reply->isNull()) {
        BSDebugger::log("DEBUG_HARVELSTONE_JSON[SERVER->SDK] jsonDict is nil");
        return false;
    }
    const auto* members = reply->dictionary();
    if (members == nullptr) throw platform::Exception("the reply is not an object");
    keepServerTime(*members);
    BSDebugger::log(
        [&] { return fmt::format("DEBUG_HARVELSTONE_JSON[SERVER->SDK] {}", platform::describe(*members)); });
    if (!profiler->updateResponse(*members)) return false;
    // Nothing was raised; the words are meant so.
    BSDebugger::log("DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck == TRUE ) : an Exception occurred");
    repeatLater();
    return true;
}

bool takeReplyGuarded(const std::optional<std::string>& data) {
    try {
        return takeReply(data);
    } catch (const platform::Exception& exception) {
        BSDebugger::log("DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an Exception occurred.");
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_sendAsynchronousRequest Msg {}", platform::describe(exception)));
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_sendAsynchronousRequest callStackSymbols {}",
                                    platform::describe(exception.callStackSymbols())));
        return false;
    }
}

}  // namespace

void DocumentManager::handleReply(const std::string& documentId, const std::optional<std::string>& data) {
    sendLock = false;
    if (takeReplyGuarded(data)) return;
    HarvelstonePostback::sharedInstance().removePostbackReferrer();
    finishUpload(documentId, data ? Fate::sent : Fate::transportFailed);
}

}  // namespace harvelstone
