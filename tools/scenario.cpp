// Scenarios: the table of steps with their arguments, and its application to the lines of a file.

#include "tools/scenario.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <iterator>
#include <optional>

#include "harvelstone/services/Constants.hpp"

#include "tools/exit_codes.hpp"
#include "tools/setting_names.hpp"

namespace harvelstone::tools {

namespace {

enum class Kind {
    any,
    text,
    keyText,  ///< text; an accessor's name stands for its text
    integer,
    number,
    seconds,  ///< a number that is not negative
    boolean,
    record,         ///< a dictionary; members named like accessors stand for their texts
    configuration,  ///< settings, as members of the step or of this argument
    profile,        ///< profile values, likewise
    step,
};

enum class Need { required, optional };

struct ArgumentRule {
    std::string_view name;
    Kind kind = Kind::any;
    Need need = Need::required;
};

enum class Effect { acts, onlySets };

constexpr std::size_t mostArguments = 4;

struct StepRule {
    std::string_view name;
    Effect effect = Effect::acts;
    std::array<ArgumentRule, mostArguments> arguments{};

    std::span<const ArgumentRule> rules() const {
        const auto* end =
            std::find_if(arguments.begin(), arguments.end(), [](const auto& rule) { return rule.name.empty(); });
        return {arguments.begin(), end};
    }
};

constexpr auto optional = Need::optional;
constexpr ArgumentRule recordArgument{"record", Kind::record};
constexpr ArgumentRule onArgument{"on", Kind::boolean};

constexpr std::array stepRules{
    StepRule{"startSession"},
    StepRule{"loadDocument"},
    StepRule{"updateDocument"},
    StepRule{"createDocument"},
    StepRule{"newVisit"},
    StepRule{"page", Effect::acts, {recordArgument}},
    StepRule{"pageProgress", Effect::acts, {{recordArgument, {"dated", Kind::boolean, optional}}}},
    StepRule{"click", Effect::acts, {recordArgument}},
    StepRule{"revenue", Effect::acts, {recordArgument}},
    StepRule{"push", Effect::acts, {recordArgument}},
    StepRule{"setGoal", Effect::acts, {{{"goal", Kind::integer}, {"value", Kind::integer}}}},
    StepRule{"putGoal"},
    StepRule{"setProduct", Effect::acts, {{{"code", Kind::text, optional}, {"name", Kind::text, optional}}}},
    StepRule{"setProductCategory", Effect::acts, {{{"code", Kind::text, optional}, {"name", Kind::text, optional}}}},
    StepRule{"setEvent",
             Effect::acts,
             {{{"type", Kind::any, optional}, {"name", Kind::any, optional}, {"value", Kind::any, optional}}}},
    StepRule{"setCampaign",
             Effect::acts,
             {{{"type", Kind::any, optional},
               {"name", Kind::any, optional},
               {"value", Kind::any, optional},
               {"referer", Kind::any, optional}}}},
    StepRule{"putInstallData", Effect::acts, {{{"data", Kind::record}}}},
    StepRule{"addCsPV"},
    StepRule{"sendDocument"},
    StepRule{"sendClickDataImmediately", Effect::acts, {recordArgument}},
    StepRule{"sendGoalDataImmediately", Effect::acts, {recordArgument}},
    StepRule{"configure", Effect::onlySets, {{{"settings", Kind::configuration, optional}}}},
    StepRule{"profile", Effect::onlySets, {{{"values", Kind::profile, optional}}}},
    StepRule{"session", Effect::onlySets, {{{"key", Kind::keyText}, {"value", Kind::any, optional}}}},
    StepRule{"preference", Effect::onlySets, {{{"key", Kind::keyText}, {"value", Kind::any, optional}}}},
    StepRule{"customPush", Effect::onlySets, {{{"map", Kind::record, optional}}}},
    StepRule{"appOpen", Effect::onlySets},
    StepRule{"trafficLimit", Effect::onlySets, {{{"exceeded", Kind::boolean}}}},
    StepRule{"lockState", Effect::onlySets, {onArgument}},
    StepRule{"useImei", Effect::onlySets, {onArgument}},
    StepRule{"installReferrerSet", Effect::onlySets, {onArgument}},
    StepRule{"network", Effect::onlySets, {{{"connected", Kind::boolean}}}},
    StepRule{"consent", Effect::onlySets, {{{"granted", Kind::boolean}}}},
    StepRule{"maxDataLifeTime", Effect::onlySets, {{{"hours", Kind::number}}}},
    StepRule{"maxRetryCount", Effect::onlySets, {{{"count", Kind::integer}}}},
    StepRule{"maxFileAge", Effect::onlySets, {{{"hours", Kind::integer}}}},
    StepRule{"clock", Effect::onlySets, {{{"advance", Kind::number}}}},
    StepRule{"wait", Effect::acts, {{{"seconds", Kind::seconds}}}},
    StepRule{"settle"},
    StepRule{"expectRaise", Effect::acts, {{{"step", Kind::step}}}},
};

constexpr std::string_view stepMember = "do";

Step stepFrom(const Dictionary& object, const LinePlace& place);

Value withKeyTexts(const Value& value);

Dictionary withKeyTexts(const Dictionary& dictionary) {
    Dictionary renamed;
    for (const auto& [name, value] : dictionary) renamed.insert_or_assign(constantText(name), withKeyTexts(value));
    return renamed;
}

/// The value with the names of all its dictionaries' members, at every depth, brought to their texts.
Value withKeyTexts(const Value& value) {
    if (const auto* dictionary = value.dictionary()) return withKeyTexts(*dictionary);
    if (const auto* list = value.list()) {
        List renamed;
        for (const auto& element : *list) renamed.push_back(withKeyTexts(element));
        return renamed;
    }
    return value;
}

[[noreturn]] void wrong(std::string_view argument, std::string_view what) {
    throw WrongUse(fmt::format("\"{}\" {}", argument, what));
}

void requireKind(bool isRight, std::string_view argument, std::string_view kind) {
    if (!isRight) wrong(argument, fmt::format("must be {}", kind));
}

void checkSetting(std::string_view word, const std::string& name, const Value& value) {
    if (name == "visitTimeout") requireKind(value.isNumber() && value.doubleValue() > 0, word, "a number above 0");
    if (value.isNull()) return;
    if (name == "debug" || name == "advIdFlag") requireKind(value.isBoolean(), word, "true or false");
    if (name == "pfno" || name == "returnVisitDate") requireKind(value.isInteger(), word, "a whole number");
    if (name == "targetUri") requireKind(value.string() != nullptr, word, "a text");
}

void takeSettings(Step& step, const Dictionary& settings) {
    for (const auto& [word, value] : settings) {
        const auto setting = findSetting(word);
        if (!setting) wrong(word, "is no setting");
        checkSetting(word, setting->name, value);
        auto& target = setting->place == SettingPlace::profile ? step.profileValues : step.arguments;
        target.insert_or_assign(setting->name, value);
    }
}

void takeProfile(Step& step, const Dictionary& values) {
    for (const auto& [word, value] : values) {
        const auto name = findProfileValue(word);
        if (!name) wrong(word, "is no profile value");
        checkSetting(word, *name, value);
        step.arguments.insert_or_assign(*name, value);
    }
}

// In the order of the kinds.
struct KindRule {
    Kind kind;
    std::string_view name;
    bool (*accepts)(const Value&);
};

bool isText(const Value& value) { return value.string() != nullptr; }
bool isObject(const Value& value) { return value.dictionary() != nullptr; }

constexpr std::array kindRules{
    KindRule{Kind::any, "a value", [](const Value&) { return true; }},
    KindRule{Kind::text, "a text", isText},
    KindRule{Kind::keyText, "a text", isText},
    KindRule{Kind::integer, "a whole number", [](const Value& value) { return value.isInteger(); }},
    KindRule{Kind::number, "a number", [](const Value& value) { return value.isNumber(); }},
    KindRule{Kind::seconds, "a number of seconds",
             [](const Value& value) { return value.isNumber() && value.doubleValue() >= 0; }},
    KindRule{Kind::boolean, "true or false", [](const Value& value) { return value.isBoolean(); }},
    KindRule{Kind::record, "an object", isObject},
    KindRule{Kind::configuration, "an object", isObject},
    KindRule{Kind::profile, "an object", isObject},
    KindRule{Kind::step, "a step", isObject},
};

void checkKind(const ArgumentRule& rule, const Value& value) {
    const auto& kind = kindRules[static_cast<std::size_t>(rule.kind)];
    requireKind(kind.accepts(value), rule.name, kind.name);
}

void takeArgument(Step& step, const ArgumentRule& rule, const Value& value) {
    const bool isAbsent = value.isNull() && rule.need == Need::optional;
    if (!isAbsent) checkKind(rule, value);
    if (rule.kind == Kind::configuration) {
        if (!isAbsent) takeSettings(step, *value.dictionary());
    } else if (rule.kind == Kind::profile) {
        if (!isAbsent) takeProfile(step, *value.dictionary());
    } else if (rule.kind == Kind::step) {
        step.inner.push_back(stepFrom(*value.dictionary(), step.place));
    } else {
        auto taken = value;
        if (!isAbsent && rule.kind == Kind::keyText) taken = constantText(*value.string());
        if (!isAbsent && rule.kind == Kind::record) taken = withKeyTexts(value);
        step.arguments.insert_or_assign(std::string(rule.name), std::move(taken));
    }
}

/// What the step brings beyond its name and the arguments of its rule: the values of a step that takes any.
Dictionary otherMembers(const Dictionary& object, std::span<const ArgumentRule> rules) {
    Dictionary others = object;
    others.erase(others.find(stepMember));
    for (const auto& rule : rules) others.erase(std::string(rule.name));
    return others;
}

const StepRule& ruleFor(const Dictionary& object) {
    const auto name = findValue(object, stepMember);
    if (!name || !name->string()) throw WrongUse("\"do\" must name a step");
    const auto* rule = std::find_if(stepRules.begin(), stepRules.end(),
                                    [&](const auto& each) { return each.name == *name->string(); });
    if (rule == stepRules.end()) throw WrongUse(fmt::format("\"{}\" is no step", *name->string()));
    return *rule;
}

Step stepFrom(const Dictionary& object, const LinePlace& place) {
    const auto& rule = ruleFor(object);
    Step step;
    step.place = place;
    step.name = rule.name;
    step.onlySets = rule.effect == Effect::onlySets;

    const auto others = otherMembers(object, rule.rules());
    const auto kind = rule.rules().empty() ? Kind::any : rule.rules().front().kind;
    if (kind == Kind::configuration) {
        takeSettings(step, others);
    } else if (kind == Kind::profile) {
        takeProfile(step, others);
    } else if (!others.empty()) {
        wrong(others.begin()->first, fmt::format("is no argument of {}", rule.name));
    }
    for (const auto& argument : rule.rules()) {
        const auto found = object.find(argument.name);
        if (found == object.end() && argument.need == Need::required) wrong(argument.name, "is missing");
        takeArgument(step, argument, found == object.end() ? Value() : found->second);
    }
    // An expected raise stands before the manager is made wherever the step in it may.
    if (!step.inner.empty()) step.onlySets = step.inner.front().onlySets;
    return step;
}

}  // namespace

Scenario parseScenario(std::string_view text, const std::string& file) {
    Scenario scenario;
    scenario.file = file;
    for (const auto& line : parseJsonLines(text, file)) {
        try {
            scenario.steps.push_back(stepFrom(line.object, line.place));
        } catch (const WrongUse& error) {
            throw WrongUse(fmt::format("{}: {}", line.place.text(), error.what()));
        }
    }
    return scenario;
}

std::vector<std::string_view> stepNames() {
    std::vector<std::string_view> names;
    std::transform(stepRules.begin(), stepRules.end(), std::back_inserter(names),
                   [](const auto& rule) { return rule.name; });
    return names;
}

}  // namespace harvelstone::tools
