// Records of every kind that a test can tell apart.

#include "tests/support/numbered_records.hpp"

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone::testing {

const std::vector<std::string>& queuePrefixes() {
    static const std::vector<std::string> prefixes{
        StaticValues::GOAL_FILE_PREFIX(),    StaticValues::PAGES_FILE_PREFIX(), StaticValues::CLICK_FILE_PREFIX(),
        StaticValues::REVENUE_FILE_PREFIX(), StaticValues::PUSH_FILE_PREFIX(),  StaticValues::EVENT_FILE_PREFIX(),
        StaticValues::CAMPAIGN_FILE_PREFIX()};
    return prefixes;
}

void addNumberedRecord(const std::string& queuePrefix, std::int64_t number) {
    const Dictionary numbered{{"number", number}, {"name", "record " + std::to_string(number)}};
    if (queuePrefix == StaticValues::PAGES_FILE_PREFIX()) Analytics::page("home", {{"number", number}});
    if (queuePrefix == StaticValues::CLICK_FILE_PREFIX()) Analytics::click(numbered);
    if (queuePrefix == StaticValues::REVENUE_FILE_PREFIX()) Analytics::revenue(numbered);
    if (queuePrefix == StaticValues::PUSH_FILE_PREFIX()) Analytics::pushOpened(numbered);
    if (queuePrefix == StaticValues::GOAL_FILE_PREFIX()) Analytics::goal(number, number);
    if (queuePrefix == StaticValues::EVENT_FILE_PREFIX()) Analytics::event("type", "name", number);
    if (queuePrefix == StaticValues::CAMPAIGN_FILE_PREFIX()) Analytics::campaign("type", "name", number, "referrer");
}

}  // namespace harvelstone::testing
