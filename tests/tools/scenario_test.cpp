#include "tools/scenario.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"

#include "tools/exit_codes.hpp"
#include "tools/step_actions.hpp"

namespace harvelstone::tools {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Step onlyStep(const std::string& line) {
    auto scenario = parseScenario(line, "shop.jsonl");
    EXPECT_EQ(scenario.steps.size(), 1U) << line;
    return scenario.steps.at(0);
}

std::string wrongUseOf(const std::string& text) {
    try {
        parseScenario(text, "shop.jsonl");
    } catch (const WrongUse& error) {
        return error.what();
    }
    return "accepted";
}

std::string argumentsOf(const std::string& line) { return platform::jsonText(onlyStep(line).arguments); }

TEST(Scenario, ReadsStepsInOrderWithTheirLines) {
    const auto scenario =
        parseScenario("# a visit\n\n{\"do\": \"startSession\"}\n  {\"do\": \"sendDocument\"}\r\n", "shop.jsonl");
    ASSERT_EQ(scenario.steps.size(), 2U);
    EXPECT_EQ(scenario.steps[0].name, "startSession");
    EXPECT_EQ(scenario.steps[0].place.text(), "shop.jsonl:3");
    EXPECT_EQ(scenario.steps[1].name, "sendDocument");
    EXPECT_EQ(scenario.steps[1].place.text(), "shop.jsonl:4");
}

TEST(Scenario, AnEmptyFileHasNoSteps) { EXPECT_TRUE(parseScenario("", "shop.jsonl").steps.empty()); }

struct StepExample {
    std::string line;
    std::string arguments;
};

TEST(Scenario, ReadsTheArgumentsOfEachStep) {
    const StepExample examples[] = {
        {R"({"do":"setGoal","goal":3,"value":-5})", R"({"goal":3,"value":-5})"},
        {R"({"do":"setProduct","code":"P1","name":"Shoe"})", R"({"code":"P1","name":"Shoe"})"},
        {R"({"do":"setProduct","code":"P1"})", R"({"code":"P1","name":null})"},
        {R"({"do":"setProductCategory","name":null})", R"({"code":null,"name":null})"},
        {R"({"do":"setEvent","type":"t","name":7})", R"({"name":7,"type":"t","value":null})"},
        {R"({"do":"setCampaign","type":"t","name":"n","value":"v","referer":"r"})",
         R"({"name":"n","referer":"r","type":"t","value":"v"})"},
        {R"({"do":"session","key":"PARAM_PDTK","value":[1,2]})", R"({"key":"push_device_token","value":[1,2]})"},
        {R"({"do":"session","key":"push_device_token"})", R"({"key":"push_device_token","value":null})"},
        {R"({"do":"preference","key":"VISIT_NEW_SERVER_TIME","value":5})",
         R"({"key":"visit_new_server_time","value":5})"},
        {R"({"do":"customPush","map":null})", R"({"map":null})"},
        {R"({"do":"customPush"})", R"({"map":null})"},
        {R"({"do":"clock","advance":-3600.5})", R"({"advance":-3600.5})"},
        {R"({"do":"wait","seconds":0.25})", R"({"seconds":0.25})"},
        {R"({"do":"maxDataLifeTime","hours":0.5})", R"({"hours":0.5})"},
        {R"({"do":"maxRetryCount","count":5})", R"({"count":5})"},
        {R"({"do":"maxFileAge","hours":-1})", R"({"hours":-1})"},
        {R"({"do":"network","connected":false})", R"({"connected":false})"},
        {R"({"do":"consent","granted":true})", R"({"granted":true})"},
        {R"({"do":"trafficLimit","exceeded":true})", R"({"exceeded":true})"},
        {R"({"do":"lockState","on":true})", R"({"on":true})"},
        {R"({"do":"useImei","on":true})", R"({"on":true})"},
        {R"({"do":"installReferrerSet","on":false})", R"({"on":false})"},
        {R"({"do":"putInstallData","data":{}})", R"({"data":{}})"},
    };
    for (const auto& example : examples) EXPECT_EQ(argumentsOf(example.line), example.arguments) << example.line;
}

TEST(Scenario, StepsWithoutArgumentsTakeNone) {
    for (const auto* name : {"startSession", "loadDocument", "updateDocument", "createDocument", "newVisit", "putGoal",
                             "addCsPV", "sendDocument", "appOpen", "settle"}) {
        const std::string step = R"({"do":")" + std::string(name) + R"(")";
        EXPECT_EQ(argumentsOf(step + "}"), "{}");
        EXPECT_THAT(wrongUseOf(step + R"(,"record":{}})"), HasSubstr("\"record\" is no argument of")) << name;
    }
}

TEST(Scenario, AnAccessorStandsForItsTextInRecordsAtEveryDepth) {
    const auto step = onlyStep(
        R"({"do":"page","record":{"PARAM_NAME":"PARAM_NAME","TYPE_GOAL":{"PARAM_TYPE":[{"PARAM_VALUE":1}]},"own":2}})");
    EXPECT_EQ(platform::jsonText(*step.arguments.at("record").dictionary()),
              R"({"goal":{"type":[{"value":1}]},"name":"PARAM_NAME","own":2})");
}

TEST(Scenario, EverySettingMayBeGivenByAnyOfItsNames) {
    for (const auto* word : {"apVr", "getApVr", "PARAM_AP_VR", "app_version", "appVersion"}) {
        const auto line = R"({"do":"configure",")" + std::string(word) + R"(":"1.0"})";
        EXPECT_EQ(argumentsOf(line), R"({"apVr":"1.0"})") << word;
    }
}

TEST(Scenario, SettingsMayStandUnderOneMember) {
    EXPECT_EQ(argumentsOf(R"({"do":"configure","settings":{"PARAM_AK":null},"targetUri":"http://x"})"),
              R"({"ak":null,"targetUri":"http://x"})");
}

TEST(Scenario, ConfigureTellsProfileValuesApart) {
    const auto step = onlyStep(R"({"do":"configure","advertisingId":"A","visitTimeout":60,"returnVisitDays":7})");
    EXPECT_EQ(platform::jsonText(step.arguments), R"({"returnVisitDate":7,"visitTimeout":60})");
    EXPECT_EQ(platform::jsonText(step.profileValues), R"({"advId":"A"})");
}

TEST(Scenario, ProfileValuesMayBeGivenByAnyOfTheirNames) {
    for (const auto* word : {"memberLvl", "getMemberLvl", "PARAM_MBR_LVL", "member_level"}) {
        const auto line = R"({"do":"profile",")" + std::string(word) + R"(":"gold"})";
        EXPECT_EQ(argumentsOf(line), R"({"memberLvl":"gold"})") << word;
    }
    EXPECT_EQ(argumentsOf(R"({"do":"profile","values":{"uvp1":null}})"), R"({"uvp1":null})");
}

TEST(Scenario, ExpectRaiseHoldsAStep) {
    const auto step = onlyStep(R"({"do":"expectRaise","step":{"do":"setGoal","goal":1,"value":2}})");
    ASSERT_EQ(step.inner.size(), 1U);
    EXPECT_EQ(step.inner[0].name, "setGoal");
    EXPECT_EQ(step.inner[0].place.text(), "shop.jsonl:1");
}

TEST(Scenario, KnowsWhichStepsMayStandBeforeTheManager) {
    std::set<std::string> setting;
    for (const auto* line : {R"({"do":"configure"})", R"({"do":"profile"})", R"({"do":"session","key":"a"})",
                             R"({"do":"preference","key":"a"})", R"({"do":"consent","granted":true})",
                             R"({"do":"network","connected":true})", R"({"do":"clock","advance":1})",
                             R"({"do":"installReferrerSet","on":true})", R"({"do":"maxDataLifeTime","hours":1})",
                             R"({"do":"maxRetryCount","count":1})", R"({"do":"maxFileAge","hours":1})",
                             R"({"do":"trafficLimit","exceeded":true})", R"({"do":"lockState","on":true})",
                             R"({"do":"useImei","on":true})", R"({"do":"customPush"})", R"({"do":"appOpen"})"}) {
        EXPECT_TRUE(onlyStep(line).onlySets) << line;
    }
    for (const auto* line :
         {R"({"do":"startSession"})", R"({"do":"newVisit"})", R"({"do":"wait","seconds":0})", R"({"do":"settle"})",
          R"({"do":"setGoal","goal":1,"value":1})", R"({"do":"expectRaise","step":{"do":"putGoal"}})"}) {
        EXPECT_FALSE(onlyStep(line).onlySets) << line;
    }
    EXPECT_TRUE(onlyStep(R"({"do":"expectRaise","step":{"do":"configure"}})").onlySets);
}

struct WrongExample {
    std::string line;
    std::string message;
};

TEST(Scenario, RefusesWrongLinesWithTheirNumbers) {
    const WrongExample examples[] = {
        {"startSession", "the line is no JSON object"},
        {R"(["do"])", "the line is no JSON object"},
        {R"({"do":"startSession"} {})", "the line is no JSON object"},
        {R"({})", "\"do\" must name a step"},
        {R"({"do":7})", "\"do\" must name a step"},
        {R"({"do":"startsession"})", "\"startsession\" is no step"},
        {R"({"do":""})", "\"\" is no step"},
        {R"({"do":"page"})", "\"record\" is missing"},
        {R"({"do":"page","record":[]})", "\"record\" must be an object"},
        {R"({"do":"page","record":null})", "\"record\" must be an object"},
        {R"({"do":"setGoal","goal":1})", "\"value\" is missing"},
        {R"({"do":"setGoal","goal":1.5,"value":1})", "\"goal\" must be a whole number"},
        {R"({"do":"setGoal","goal":"1","value":1})", "\"goal\" must be a whole number"},
        {R"({"do":"setProduct","code":1})", "\"code\" must be a text"},
        {R"({"do":"setEvent","typ":"t"})", "\"typ\" is no argument of setEvent"},
        {R"({"do":"session","value":1})", "\"key\" is missing"},
        {R"({"do":"session","key":1})", "\"key\" must be a text"},
        {R"({"do":"network","connected":1})", "\"connected\" must be true or false"},
        {R"({"do":"network"})", "\"connected\" is missing"},
        {R"({"do":"clock","advance":"1"})", "\"advance\" must be a number"},
        {R"({"do":"wait","seconds":-1})", "\"seconds\" must be a number of seconds"},
        {R"({"do":"customPush","map":[]})", "\"map\" must be an object"},
        {R"({"do":"configure","colour":"red"})", "\"colour\" is no setting"},
        {R"({"do":"configure","settings":[]})", "\"settings\" must be an object"},
        {R"({"do":"configure","debug":1})", "\"debug\" must be true or false"},
        {R"({"do":"configure","pfno":"1"})", "\"pfno\" must be a whole number"},
        {R"({"do":"configure","targetUri":1})", "\"targetUri\" must be a text"},
        {R"({"do":"configure","visitTimeout":0})", "\"visitTimeout\" must be a number above 0"},
        {R"({"do":"profile","apVr":"1"})", "\"apVr\" is no profile value"},
        {R"({"do":"expectRaise"})", "\"step\" is missing"},
        {R"({"do":"expectRaise","step":"putGoal"})", "\"step\" must be a step"},
        {R"({"do":"expectRaise","step":{"do":"putgoal"}})", "\"putgoal\" is no step"},
    };
    for (const auto& example : examples) {
        EXPECT_EQ(wrongUseOf("{\"do\":\"putGoal\"}\n" + example.line + "\n"), "shop.jsonl:2: " + example.message);
    }
}

TEST(Scenario, EveryStepHasAnAction) {
    for (const auto name : stepNames()) EXPECT_EQ(stepAction(name) == nullptr, name == "expectRaise") << name;
}

TEST(Scenario, StepNamesAreDistinct) {
    const auto names = stepNames();
    EXPECT_EQ(std::set<std::string_view>(names.begin(), names.end()).size(), names.size());
}

}  // namespace

}  // namespace harvelstone::tools
