#include "harvelstone/services/Constants.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>

#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone {
namespace {

using ::testing::Each;
using ::testing::EndsWith;

std::vector<NamedConstant> allConstants() {
    auto all = staticValuesTable();
    all.insert(all.end(), trackTypeTable().begin(), trackTypeTable().end());
    return all;
}

std::vector<std::string> queuePrefixes() {
    return {StaticValues::GOAL_FILE_PREFIX(),    StaticValues::PAGES_FILE_PREFIX(), StaticValues::CLICK_FILE_PREFIX(),
            StaticValues::REVENUE_FILE_PREFIX(), StaticValues::PUSH_FILE_PREFIX(),  StaticValues::EVENT_FILE_PREFIX(),
            StaticValues::CAMPAIGN_FILE_PREFIX()};
}

TEST(Constants, HaveDistinctTexts) {
    std::set<std::string_view> texts;
    for (const auto& constant : allConstants())
        EXPECT_TRUE(texts.insert(constant.text).second) << constant.accessor << " repeats " << constant.text;
}

TEST(Constants, HaveDistinctAccessors) {
    std::set<std::string_view> accessors;
    for (const auto& constant : allConstants()) EXPECT_TRUE(accessors.insert(constant.accessor).second);
}

TEST(Constants, AreLowerSnakeCaseWordsButForTheNameOfTheDocumentDB) {
    const std::string allowed = "abcdefghijklmnopqrstuvwxyz0123456789_";
    for (const auto& constant : allConstants()) {
        if (constant.accessor == "DOCUMENT_DB_NAME") continue;
        EXPECT_EQ(constant.text.find_first_not_of(allowed), std::string_view::npos) << constant.accessor;
        EXPECT_FALSE(constant.text.empty()) << constant.accessor;
    }
}

TEST(Constants, NameTheDocumentDBAsPruningSparesIt) { EXPECT_EQ(StaticValues::DOCUMENT_DB_NAME(), "DocumentDB"); }

TEST(Constants, AreWhatTheAccessorsReturn) {
    std::vector<std::pair<std::string, std::string>> accessors;
#define ADD_CONSTANT(name, text) accessors.emplace_back(#name, StaticValues::name());
    HARVELSTONE_STATIC_VALUES(ADD_CONSTANT)
#undef ADD_CONSTANT
    ASSERT_EQ(accessors.size(), staticValuesTable().size());
    for (std::size_t i = 0; i < accessors.size(); ++i) {
        EXPECT_EQ(staticValuesTable()[i].accessor, accessors[i].first);
        EXPECT_EQ(staticValuesTable()[i].text, accessors[i].second);
    }
}

TEST(Constants, AreTheSameObjectAtEveryCall) {
    EXPECT_EQ(&StaticValues::PARAM_NAME(), &StaticValues::PARAM_NAME());
    EXPECT_EQ(&TrackType::TYPE_GOAL(), &TrackType::TYPE_GOAL());
}

TEST(Constants, KeepTheMisspelledAccessor) {
    EXPECT_EQ(constantText("PARAM_IS_WEEKELY_US"), StaticValues::PARAM_IS_WEEKELY_US());
}

TEST(ConstantText, FindsTheTextOfAnAccessorInEitherTable) {
    EXPECT_EQ(constantText("PARAM_AK"), "app_key");
    EXPECT_EQ(constantText("TYPE_GOAL"), "goal");
}

TEST(ConstantText, GivesBackAnyOtherWord) {
    EXPECT_EQ(constantText("app_key"), "app_key");
    EXPECT_EQ(constantText("PARAM_UNHEARD_OF"), "PARAM_UNHEARD_OF");
    EXPECT_EQ(constantText(""), "");
}

TEST(QueuePrefixes, CannotBeginADocumentId) {
    // An id begins with a session id: upper-case hexadecimal digits.
    const std::string firstOfAnId = "0123456789ABCDEF";
    for (const auto& prefix : queuePrefixes()) EXPECT_EQ(firstOfAnId.find(prefix.front()), std::string::npos) << prefix;
}

TEST(QueuePrefixes, AreNoPrefixOfEachOther) {
    const auto prefixes = queuePrefixes();
    for (const auto& one : prefixes)
        for (const auto& other : prefixes) EXPECT_TRUE(&one == &other || !other.starts_with(one)) << one << other;
}

TEST(QueuePrefixes, AreSetOffFromTheIdThatFollows) { EXPECT_THAT(queuePrefixes(), Each(EndsWith("_"))); }

TEST(QueuePrefixes, BeginNoFixedStore) {
    const std::set<std::string> fixedStores{"DocumentDB",     "current_profile_file", "current_config_file",
                                            "BS_SESSION_MAP", "BS_SESSION",           "postbackDB"};
    for (const auto& store : fixedStores)
        for (const auto& prefix : queuePrefixes()) EXPECT_FALSE(store.starts_with(prefix)) << store << " " << prefix;
}

TEST(FixedStores, AreNoDocumentIds) {
    // An id is 32 hexadecimal digits, "_" and a time; each of these holds another character before that.
    const std::set<std::string> fixedStores{"DocumentDB",     "current_profile_file", "current_config_file",
                                            "BS_SESSION_MAP", "BS_SESSION",           "postbackDB"};
    for (const auto& store : fixedStores) EXPECT_LT(store.find_first_not_of("0123456789ABCDEF"), 32U) << store;
}

TEST(TrackType, AnswersToStringAndTypeValueAlike) {
    std::size_t count = 0;
#define CHECK_TYPE(name, text)                                              \
    EXPECT_EQ(TrackType::name().toString(), TrackType::name().typeValue()); \
    EXPECT_EQ(TrackType::name().toString(), constantText(#name));           \
    ++count;
    HARVELSTONE_TRACK_TYPES(CHECK_TYPE)
#undef CHECK_TYPE
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(trackTypeTable().size(), 7U);
}

}  // namespace
}  // namespace harvelstone
