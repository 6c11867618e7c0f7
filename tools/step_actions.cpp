// What each step of a scenario does to the component. Runs on the played app's main thread.

#include "tools/step_actions.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/Tracker.hpp"

#include "tools/main_queue.hpp"

namespace harvelstone::tools {

namespace {

DocumentManager& manager() { return DocumentManager::sharedInstance(); }

// Arguments have been checked when the scenario was read; what may be absent reads so.

const Value& argument(const Step& step, std::string_view name) { return step.arguments.find(name)->second; }

std::optional<Value> optionalValue(const Step& step, std::string_view name) { return findValue(step.arguments, name); }

std::optional<std::string> optionalText(const Step& step, std::string_view name) {
    const auto value = optionalValue(step, name);
    return value ? std::optional(*value->string()) : std::nullopt;
}

const std::string& text(const Step& step, std::string_view name) { return *argument(step, name).string(); }

bool flag(const Step& step, std::string_view name) { return *argument(step, name).boolean(); }

const Dictionary& record(const Step& step, std::string_view name = "record") {
    return *argument(step, name).dictionary();
}

void pageProgress(const Step& step, const AppMachine&) {
    auto progress = record(step);
    if (findValue(step.arguments, "dated") && flag(step, "dated"))
        setValue(progress, StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString());
    QueueFile(StaticValues::PAGES_FILE_PREFIX() + manager().getLaistDocId()).add(progress);
}

void setEvent(const Step& step, const AppMachine&) {
    manager().setEvent(optionalValue(step, "type"), optionalValue(step, "name"), optionalValue(step, "value"));
}

void setCampaign(const Step& step, const AppMachine&) {
    manager().setCampaign(optionalValue(step, "type"), optionalValue(step, "name"), optionalValue(step, "value"),
                          optionalValue(step, "referer"));
}

void configure(const Step& step, const AppMachine&) {
    auto settings = step.arguments;
    if (const auto timeout = settings.extract("visitTimeout")) {
        SessionManager::sharedInstance().setVisitTimeout(timeout.mapped().doubleValue());
    }
    if (!settings.empty()) SessionManager::sharedInstance().configure(settings);
    if (!step.profileValues.empty()) ProfileManager::sharedInstance().setProfile(step.profileValues);
}

void customPush(const Step& step, const AppMachine&) {
    const auto map = optionalValue(step, "map");
    Tracker::sharedInstance().setCustomPushMapData(map ? std::optional(*map->dictionary()) : std::nullopt);
}

void installReferrerSet(const Step& step, const AppMachine&) {
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), flag(step, "on"));
}

struct NamedAction {
    std::string_view name;
    StepAction action;
};

// The names as the table of steps has them; a test holds the two against each other.
constexpr std::array actions{
    NamedAction{"startSession", [](const Step&, const AppMachine&) { manager().startSession(); }},
    NamedAction{"loadDocument", [](const Step&, const AppMachine&) { manager().loadDocument(); }},
    NamedAction{"updateDocument", [](const Step&, const AppMachine&) { manager().updateDocument(); }},
    NamedAction{"createDocument", [](const Step&, const AppMachine&) { manager().createDocument(); }},
    NamedAction{"newVisit", [](const Step&, const AppMachine&) { Analytics::endVisit(); }},
    NamedAction{"page", [](const Step& step, const AppMachine&) { Analytics::pageRecord(record(step)); }},
    NamedAction{"pageProgress", pageProgress},
    NamedAction{"click", [](const Step& step, const AppMachine&) { Analytics::click(record(step)); }},
    NamedAction{"revenue", [](const Step& step, const AppMachine&) { Analytics::revenue(record(step)); }},
    NamedAction{"push", [](const Step& step, const AppMachine&) { Analytics::pushOpened(record(step)); }},
    NamedAction{"setGoal",
                [](const Step& step, const AppMachine&) {
                    manager().setGoal(argument(step, "goal").integerValue(), argument(step, "value").integerValue());
                }},
    NamedAction{"putGoal", [](const Step&, const AppMachine&) { manager().putGoal(); }},
    NamedAction{"setProduct",
                [](const Step& step, const AppMachine&) {
                    manager().setProduct(optionalText(step, "code"), optionalText(step, "name"));
                }},
    NamedAction{"setProductCategory",
                [](const Step& step, const AppMachine&) {
                    manager().setProductCategory(optionalText(step, "code"), optionalText(step, "name"));
                }},
    NamedAction{"setEvent", setEvent},
    NamedAction{"setCampaign", setCampaign},
    NamedAction{"putInstallData",
                [](const Step& step, const AppMachine&) { manager().putInstallData(record(step, "data")); }},
    NamedAction{"addCsPV", [](const Step&, const AppMachine&) { manager().addCsPV(); }},
    NamedAction{"sendDocument", [](const Step&, const AppMachine&) { manager().sendDocument(); }},
    NamedAction{"sendClickDataImmediately",
                [](const Step& step, const AppMachine&) { manager().sendClickDataImmediately(record(step)); }},
    NamedAction{"sendGoalDataImmediately",
                [](const Step& step, const AppMachine&) { manager().sendGoalDataImmediately(record(step)); }},
    NamedAction{"configure", configure},
    NamedAction{"profile", [](const Step& step,
                              const AppMachine&) { ProfileManager::sharedInstance().setProfile(step.arguments); }},
    NamedAction{"session",
                [](const Step& step, const AppMachine&) {
                    ProfileManager::sharedInstance().putSessionData(text(step, "key"), argument(step, "value"));
                }},
    NamedAction{"preference",
                [](const Step& step, const AppMachine&) {
                    BSConfig::sharedInstance().putPref(text(step, "key"), argument(step, "value"));
                }},
    NamedAction{"customPush", customPush},
    NamedAction{"appOpen", [](const Step&, const AppMachine&) { HarvelstoneCore::setAppOpenFlag(/*opened=*/true); }},
    NamedAction{"trafficLimit",
                [](const Step& step, const AppMachine&) {
                    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = flag(step, "exceeded");
                }},
    NamedAction{"lockState",
                [](const Step& step, const AppMachine&) { HarvelstoneCore::setFlagSdkLockState(flag(step, "on")); }},
    NamedAction{"useImei",
                [](const Step& step, const AppMachine&) { HarvelstoneCore::setFlagUseImei(flag(step, "on")); }},
    NamedAction{"installReferrerSet", installReferrerSet},
    NamedAction{"network", [](const Step& step,
                              const AppMachine& machine) { machine.device->setConnected(flag(step, "connected")); }},
    NamedAction{"consent",
                [](const Step& step, const AppMachine&) {
                    ProfileManager::sharedInstance().setConsent(flag(step, "granted"));
                }},
    NamedAction{"maxDataLifeTime",
                [](const Step& step, const AppMachine&) {
                    BSConfig::sharedInstance().setMaxDataLifeTime(argument(step, "hours").doubleValue());
                }},
    NamedAction{"maxRetryCount",
                [](const Step& step, const AppMachine&) {
                    MAX_RETRY_COUNT_FOR_SENDDOCUMENT = argument(step, "count").integerValue();
                }},
    NamedAction{
        "maxFileAge",
        [](const Step& step, const AppMachine&) { MAX_LEFE_TIME_JSONFILE = argument(step, "hours").integerValue(); }},
    NamedAction{"clock",
                [](const Step& step, const AppMachine& machine) {
                    machine.clock->advance(argument(step, "advance").doubleValue());
                }},
    NamedAction{"wait",
                [](const Step& step, const AppMachine&) {
                    pumpMainQueueFor(platform::Seconds(argument(step, "seconds").doubleValue()));
                }},
    NamedAction{"settle", [](const Step&, const AppMachine&) { settle(); }},
};

}  // namespace

StepAction stepAction(std::string_view name) {
    const auto* found =
        std::find_if(actions.begin(), actions.end(), [&](const auto& each) { return each.name == name; });
    return found == actions.end() ? nullptr : found->action;
}

}  // namespace harvelstone::tools
