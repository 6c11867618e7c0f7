// The whole log of a first visit's upload, from the pass to the removal of its files.

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAreArray;

class FirstUploadLog : public SendingTest {
  protected:
    std::vector<std::string> removalLines(const std::string& name, const std::string& outcome) const {
        const auto path = machine.folder + name + ".Harvelstone";
        return {"DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : " + outcome + path,
                "DEBUG_HARVELSTONE_REMOVE_FILE : " + path};
    }
};

TEST_F(FirstUploadLog, HoldsEveryLineInItsOrder) {
    const auto id = headId();
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), false);
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    machine.clock->advance(30);
    const auto lines = linesOf([&] {
        send();
        answer(R"({"visit_new_server_time":1479259230})");
        machine.mainQueue->advance(1);
    });

    std::vector<std::string> expected{
        "DEBUG_HARVELSTONE_JSON : current time is over than 30 second from start the app.",
        "documetNameList : [\"" + id + "\"]",
        "DocumentManager.sendDocument(documentID) : " + id,
        "DEBUG_HARVELSTONE_JSON[SDK->SERVER] " + machine.http->requests.back().json(),
        "DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] http://collector.test/documents",
        "DEBUG_HARVELSTONE_JSON : set Content Length.",
        "DEBUG_HARVELSTONE_JSON[SERVER->SDK] {\"visit_new_server_time\":1479259230}",
        "DEBUG_HARVELSTONE_CONFIG : documentID --> " + headId() + " ",
        "DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. ",
        "DEBUG_HARVELSTONE_CONFIG_LTVT : 1 / N ",
        "DEBUG_HARVELSTONE_REMOVE_FILE document id : " + id,
    };
    const auto append = [&](const std::vector<std::string>& more) {
        expected.insert(expected.end(), more.begin(), more.end());
    };
    append(removalLines(id, "deleted:"));
    append(removalLines("goal_" + id, "deleted:"));
    for (const auto* prefix : {"pages_", "revenue_", "push_"})
        append(removalLines(prefix + id, "file is not exists --> "));
    EXPECT_THAT(lines, ElementsAreArray(expected));
}

}  // namespace
}  // namespace harvelstone::testing
