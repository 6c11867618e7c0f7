// Any bytes as the body of a reply to a document's upload, with another document waiting behind it.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/Tracker.hpp"

#include "fuzz/machine.hpp"
#include "fuzz/other_json.hpp"
#include "fuzz/require.hpp"

namespace harvelstone::fuzz {
namespace {

const std::string logTag = "DEBUG_HARVELSTONE_JSON[SERVER->SDK] ";
const std::string repeatLine =
    "DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck == TRUE ) : an Exception occurred";
const std::string caughtLine =
    "DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an Exception occurred.";

/// An app that has sent nothing yet, with a document of each of two visits.
std::vector<std::string> startedApp() {
    SessionManager::sharedInstance().configure({{"targetUri", "http://collector.test/"}});
    auto& manager = DocumentManager::sharedInstance();
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    machine().clock->advance(1);
    SessionManager::sharedInstance().endVisit();
    manager.createDocument();
    machine().clock->advance(1);  // an id holds the time
    const auto names = documetNameList->load();
    require(names->size() == 2, "there are two documents");
    return {names->at(0), names->at(1)};
}

/// The app as it was, both documents pending, the first one being uploaded.
void startUploadAgain(const std::vector<std::string>& ids) {
    auto& running = machine();
    running.http->requests.clear();
    running.workers->queues.clear();
    running.mainQueue = std::make_shared<testing::ManualRunLoop>();
    platform::Platform::current().mainQueue = running.mainQueue;
    documetNameList->store(DocumentNames(ids));
    for (const auto& id : ids) TinyMap::sharedInstance().get(id)->putInt(StaticValues::RETRY_COUNT(), 0);
    ProfileManager::sharedInstance().updateResponse(
        {{"send_allowed", true}, {"wait_seconds", 0}, {"traffic_limit_exceeded", false}});
    BSConfig::sharedInstance().putPref(StaticValues::VISIT_NEW_SERVER_TIME(), "before");
    HarvelstonePostback::sharedInstance().setPostbackReferrer("referrer");
    DocumentManager::sharedInstance().sendDocument();
    require(running.http->requests.size() == 1, "the first document is being uploaded");
    running.log->clear();
    sendLock = true;
}

std::size_t linesLike(std::string_view start) { return machine().log->linesStartingWith(start).size(); }

bool isTrue(const std::optional<Value>& value) { return value == Value(true); }

/// What the members of a reply ask for.
struct Instructions {
    std::optional<Value> serverTime;
    bool asksForRepeat = false;
    bool exceedsLimit = false;
    bool forbidsSending = false;

    explicit Instructions(const Dictionary& reply)
        : serverTime(findValue(reply, StaticValues::VISIT_NEW_SERVER_TIME())),
          asksForRepeat(isTrue(findValue(reply, "retry"))),
          exceedsLimit(isTrue(findValue(reply, "traffic_limit_exceeded"))),
          forbidsSending(findValue(reply, "send_allowed") == Value(false) ||
                         (findValue(reply, "wait_seconds").value_or(nullptr).isNumber() &&
                          doubleValue(findValue(reply, "wait_seconds")) > 0)) {}
};

/// One of the four branches, by the lines that each of them logs.
void checkLines(const std::optional<Value>& reply, const Instructions& instructions) {
    const bool isNothing = !reply || reply->isNull();
    const bool isObject = reply && reply->dictionary() != nullptr;
    require(linesLike(logTag + "jsonDict is nil") == (isNothing ? 1U : 0U), "a reply that is nothing is told so");
    require(linesLike(logTag + "{") == (isObject ? 1U : 0U), "a reply that is an object is logged, once");
    require(linesLike(caughtLine) == (isNothing || isObject ? 0U : 1U), "any other reply is caught");
    require(linesLike(repeatLine) == (instructions.asksForRepeat ? 1U : 0U), "a repeat is made if it is asked for");
}

void checkFlags(const Instructions& instructions) {
    const auto time = BSConfig::sharedInstance().getPrefValue(StaticValues::VISIT_NEW_SERVER_TIME());
    require(!sendLock, "the lock is cleared");
    require(time == instructions.serverTime.value_or("before"), "the server's time is kept, and nothing else as one");
    require(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded == instructions.exceedsLimit,
            "the traffic limit is what the server says");
    require(ProfileManager::sharedInstance().shouldSend(/*respectsServerWait=*/true) != instructions.forbidsSending,
            "sending is allowed unless the server forbids it or asks for a wait");
}

void checkNextStep(const std::vector<std::string>& ids, const Instructions& instructions) {
    const auto& running = machine();
    const auto head = documetNameList->load()->at(0);
    const bool hasReferrer = HarvelstonePostback::sharedInstance().getPostbackJosn().contains("referrer");
    require(hasReferrer == instructions.asksForRepeat, "the referrer goes with the document");
    if (instructions.asksForRepeat) {
        require(head == ids[0], "a document that is to be repeated stays");
        require(running.workers->queues.front()->pendingDelays() == std::vector{1.0}, "it is repeated a second later");
        require(running.http->requests.size() == 1, "nothing is sent before");
        return;
    }
    require(running.workers->queues.front()->pendingDelays().empty(), "nothing is repeated");
    const bool goesOn = !instructions.forbidsSending && !instructions.exceedsLimit;
    require(running.http->requests.size() == (goesOn ? 2U : 1U), "the next document is sent if it may be");
    if (instructions.forbidsSending || goesOn)
        require(head == ids[1], "the document is done, the next one is not");
    else
        require(head != ids[0] && head != ids[1], "over the limit all are done, and a new one is begun");
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone;
    using namespace harvelstone::fuzz;
    const auto disk = diskWith("", "");
    static const auto ids = startedApp();
    const std::string body(textOf(data, size));
    startUploadAgain(ids);
    machine().http->answer(body);

    const auto reply = otherwiseParsed(body, platform::jsonDepthLimit);
    const auto* members = reply ? reply->dictionary() : nullptr;
    const Instructions instructions(members != nullptr ? *members : Dictionary());
    checkLines(reply, instructions);
    checkFlags(instructions);
    checkNextStep(ids, instructions);
    return 0;
}
