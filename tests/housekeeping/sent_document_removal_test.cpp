#include "harvelstone/services/TinyMap.hpp"

#include "tests/housekeeping/HousekeepingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* exceptionLine = "DEBUG_HARVELSTONE_JSON : an Exception occurred.";

class SentDocumentRemoval : public HousekeepingTest {
  protected:
    std::vector<std::string> linesOfRemoval() {
        return linesOf([&] { manager().removeSentDocument("S1_1.000000"); });
    }
    std::vector<std::string> linesOfDeleting(const std::string& name) {
        return linesOf([&] { manager().deletePath(path(name)); });
    }
    /// The list's next head has another id: time has passed.
    void retireWhileNothingIsStored() {
        machine.clock->advance(1);
        files->renameError = std::make_error_code(std::errc::io_error);
        manager().nextSendDocument();
    }
    void putEveryFile() {
        for (const auto* prefix : {"", "goal_", "pages_", "revenue_", "push_", "click_", "event_", "campaign_"})
            put(std::string(prefix) + "S1_1.000000.Harvelstone");
    }
    /// The paths that a removal deletes, in its order.
    std::vector<std::string> removedPaths() const {
        std::vector<std::string> paths;
        for (const auto* prefix : {"", "goal_", "pages_", "revenue_", "push_"})
            paths.push_back(path(std::string(prefix) + "S1_1.000000.Harvelstone"));
        return paths;
    }
    std::vector<std::string> linesOf(const std::string& outcome) const {
        std::vector<std::string> lines{"DEBUG_HARVELSTONE_REMOVE_FILE document id : S1_1.000000"};
        for (const auto& removed : removedPaths()) {
            lines.push_back("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : " + outcome + removed);
            lines.push_back("DEBUG_HARVELSTONE_REMOVE_FILE : " + removed);
        }
        return lines;
    }
    using HousekeepingTest::linesOf;
};

TEST_F(SentDocumentRemoval, DeletesTheMapAndFourQueuesInOrder) {
    putEveryFile();
    const auto lines = linesOfRemoval();

    EXPECT_THAT(lines, ElementsAreArray(linesOf("deleted:")));
    EXPECT_EQ(files->removed, removedPaths());
}

TEST_F(SentDocumentRemoval, LeavesTheClickEventAndCampaignQueues) {
    putEveryFile();
    linesOfRemoval();

    EXPECT_TRUE(isThere("click_S1_1.000000.Harvelstone"));
    EXPECT_TRUE(isThere("event_S1_1.000000.Harvelstone"));
    EXPECT_TRUE(isThere("campaign_S1_1.000000.Harvelstone"));
    EXPECT_FALSE(isThere("S1_1.000000.Harvelstone"));
    EXPECT_FALSE(isThere("push_S1_1.000000.Harvelstone"));
}

TEST_F(SentDocumentRemoval, OfFilesThatWereNeverMadeRunsToItsEnd) {
    EXPECT_THAT(linesOfRemoval(), ElementsAreArray(linesOf("file is not exists --> ")));
    EXPECT_THAT(files->removed, IsEmpty());
}

TEST_F(SentDocumentRemoval, PrunesBeforeItDeletesAnythingOfTheDocument) {
    putEveryFile();
    put("old.Harvelstone", 5);
    const auto lines = linesOfRemoval();

    EXPECT_EQ(lines[0], "DEBUG_HARVELSTONE_REMOVE_FILE document id : S1_1.000000");
    EXPECT_EQ(lines[1], "DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:" + path("old.Harvelstone"));
    EXPECT_EQ(lines[2], "documentManager.deleteOldestJsonFile : " + path("old.Harvelstone"));
    EXPECT_EQ(files->removed.front(), path("old.Harvelstone"));
    EXPECT_EQ(lines[3], "DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:" + path("S1_1.000000.Harvelstone"));
}

TEST_F(SentDocumentRemoval, TheMapStaysInMemory) {
    const auto id = pendingIds().front();
    manager().removeSentDocument(id);

    EXPECT_FALSE(isThere(id + ".Harvelstone"));
    EXPECT_TRUE(TinyMap::sharedInstance().get(id)->has(TrackType::TYPE_SESSION().typeValue()));
}

TEST_F(SentDocumentRemoval, AnExceptionEndsItWithOneLineAndTheRestStays) {
    putEveryFile();
    files->onRemove = [&] {
        if (files->removed.size() == 2) throw platform::Exception("no more");
    };
    const auto lines = linesOfRemoval();

    EXPECT_EQ(lines.back(), exceptionLine);
    EXPECT_EQ(files->removed.size(), 2U);
    EXPECT_FALSE(isThere("goal_S1_1.000000.Harvelstone"));
    EXPECT_TRUE(isThere("pages_S1_1.000000.Harvelstone"));
}

TEST_F(SentDocumentRemoval, LeavesTheFilesWhileTheStoredListNamesTheDocument) {
    const auto id = pendingIds().front();
    retireWhileNothingIsStored();

    EXPECT_EQ(linesOf([&] { manager().removeSentDocument(id); }).back(), exceptionLine);
    EXPECT_TRUE(isThere(id + ".Harvelstone"));
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(id));
}

TEST_F(SentDocumentRemoval, StoresTheListBeforeTheFilesGo) {
    const auto id = pendingIds().front();
    retireWhileNothingIsStored();
    files->renameError.reset();
    files->onRemove = [&] { EXPECT_THAT(idsOnDisk(machine), Not(Contains(id))); };
    manager().removeSentDocument(id);

    EXPECT_FALSE(isThere(id + ".Harvelstone"));
}

TEST_F(SentDocumentRemoval, AnIdThatIsNoFileNameDeletesNothing) {
    put("outside");
    EXPECT_THAT(linesOf([&] { manager().removeSentDocument("../outside"); }),
                ElementsAre("DEBUG_HARVELSTONE_REMOVE_FILE document id : ../outside", exceptionLine));
    EXPECT_THAT(files->removed, IsEmpty());
}

TEST_F(SentDocumentRemoval, AnErrorOfAnotherKindPassesOn) {
    putEveryFile();
    files->onRemove = [] { throw std::runtime_error("broken"); };

    EXPECT_THROW(manager().removeSentDocument("S1_1.000000"), std::runtime_error);
}

// ---- One path ----

TEST_F(SentDocumentRemoval, DeletingAFileIsLogged) {
    put("a.Harvelstone");

    EXPECT_THAT(linesOfDeleting("a.Harvelstone"),
                ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:" + path("a.Harvelstone")));
    EXPECT_FALSE(isThere("a.Harvelstone"));
}

TEST_F(SentDocumentRemoval, DeletingAMissingFileIsLogged) {
    EXPECT_THAT(
        linesOfDeleting("a.Harvelstone"),
        ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : file is not exists --> " + path("a.Harvelstone")));
}

TEST_F(SentDocumentRemoval, WhatIsNotDeletableIsNotTouched) {
    put("a.Harvelstone");
    files->deletable = false;

    EXPECT_THAT(linesOfDeleting("a.Harvelstone"),
                ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : cound not delete this file --> " +
                            path("a.Harvelstone")));
    EXPECT_TRUE(isThere("a.Harvelstone"));
}

TEST_F(SentDocumentRemoval, WhetherItIsDeletableIsAskedBeforeWhetherItExists) {
    EXPECT_THAT(linesOf([&] { manager().deletePath(machine.documents + "/no folder/a.Harvelstone"); }),
                ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : cound not delete this file --> " +
                            machine.documents + "/no folder/a.Harvelstone"));
}

TEST_F(SentDocumentRemoval, AFailedDeletionLogsTheErrorAndNotThePath) {
    put("a.Harvelstone");
    files->removeError = std::make_error_code(std::errc::operation_not_permitted);

    EXPECT_THAT(
        linesOfDeleting("a.Harvelstone"),
        ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : occured an error --> Operation not permitted"));
    EXPECT_TRUE(isThere("a.Harvelstone"));
}

}  // namespace
}  // namespace harvelstone::testing
