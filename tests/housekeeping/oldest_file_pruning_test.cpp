#include <filesystem>

#include "tests/housekeeping/HousekeepingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr double minute = 1.0 / 60;

class OldestFilePruning : public HousekeepingTest {
  protected:
    std::vector<std::string> linesOfPruning() {
        return linesOf([&] { manager().deleteOldestJsonFile(); });
    }
    void prune() { manager().deleteOldestJsonFile(); }
};

TEST_F(OldestFilePruning, AnOldQueueFileIsDeletedAndLogged) {
    put("click_S1_1.000000.Harvelstone", 5);
    const auto file = path("click_S1_1.000000.Harvelstone");

    EXPECT_THAT(linesOfPruning(), ElementsAre("DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:" + file,
                                              "documentManager.deleteOldestJsonFile : " + file));
    EXPECT_FALSE(isThere("click_S1_1.000000.Harvelstone"));
}

TEST_F(OldestFilePruning, EveryOldFileGoesInOnePass) {
    put("a.Harvelstone", 5);
    put("b.Harvelstone", 50);
    put("c.Harvelstone", 500);
    prune();

    EXPECT_FALSE(isThere("a.Harvelstone"));
    EXPECT_FALSE(isThere("b.Harvelstone"));
    EXPECT_FALSE(isThere("c.Harvelstone"));
}

TEST_F(OldestFilePruning, TheAgeCountsInWholeHours) {
    put("three.Harvelstone", 3);
    put("almost four.Harvelstone", 4 - minute);
    put("four.Harvelstone", 4);
    prune();

    EXPECT_TRUE(isThere("three.Harvelstone"));
    EXPECT_TRUE(isThere("almost four.Harvelstone"));
    EXPECT_FALSE(isThere("four.Harvelstone"));
}

TEST_F(OldestFilePruning, AFileOfTheFutureStays) {
    put("future.Harvelstone", -100);
    prune();
    EXPECT_TRUE(isThere("future.Harvelstone"));
}

TEST_F(OldestFilePruning, ALimitBelowZeroReachesFreshFilesButNotThoseOfTheFuture) {
    put("fresh.Harvelstone", 0);
    put("future.Harvelstone", -2);
    MAX_LEFE_TIME_JSONFILE = -1;
    prune();

    EXPECT_FALSE(isThere("fresh.Harvelstone"));
    EXPECT_TRUE(isThere("future.Harvelstone"));
}

TEST_F(OldestFilePruning, TheLimitMayBeChanged) {
    put("a.Harvelstone", 5);
    MAX_LEFE_TIME_JSONFILE = 5;
    prune();
    EXPECT_TRUE(isThere("a.Harvelstone"));

    MAX_LEFE_TIME_JSONFILE = 4;
    prune();
    EXPECT_FALSE(isThere("a.Harvelstone"));
}

TEST_F(OldestFilePruning, TheLimitIsReadAfreshForEachFile) {
    put("a.Harvelstone", 5);
    put("b.Harvelstone", 5);
    files->onRemove = [] { MAX_LEFE_TIME_JSONFILE = 100; };
    prune();

    EXPECT_NE(isThere("a.Harvelstone"), isThere("b.Harvelstone"));
}

TEST_F(OldestFilePruning, TheLongLivedStoresStay) {
    const std::vector<std::string> stores{"DocumentDB.Harvelstone",          "current_profile_file.Harvelstone",
                                          "current_config_file.Harvelstone", "BS_SESSION_MAP.Harvelstone",
                                          "BS_SESSION.Harvelstone",          "postbackDB.Harvelstone"};
    for (const auto& name : stores) put(name, 100);
    EXPECT_THAT(linesOfPruning(), IsEmpty());
    for (const auto& name : stores) EXPECT_TRUE(isThere(name)) << name;
}

TEST_F(OldestFilePruning, ANameThatOnlyResemblesALongLivedStoreIsNoExemption) {
    for (const auto* name : {"documentdb.Harvelstone", "DocumentDB2.Harvelstone", "xDocumentDB.Harvelstone",
                             "DocumentDB.corrupt-1.Harvelstone", "DocumentDBHarvelstone"}) {
        put(name, 5);
        prune();
        EXPECT_FALSE(isThere(name)) << name;
    }
}

TEST_F(OldestFilePruning, WhatAProcessWasCommittingWhenItDiedGoesLikeAnyOther) {
    for (const auto* map : {"DocumentDB", "A_1.000000"}) {
        const auto name = temporaryFilePath(map).substr(machine.folder.size());
        put(name, 3);
        prune();
        EXPECT_TRUE(isThere(name)) << name;
        put(name, 4);
        prune();
        EXPECT_FALSE(isThere(name)) << name;
    }
}

TEST_F(OldestFilePruning, OnlyTheSuffixWithoutItsPointCounts) {
    put("noteHarvelstone", 5);
    put("note.Harvelstone.bak", 500);
    put("note.harvelstone", 500);
    put("note", 500);
    prune();

    EXPECT_FALSE(isThere("noteHarvelstone"));
    EXPECT_TRUE(isThere("note.Harvelstone.bak"));
    EXPECT_TRUE(isThere("note.harvelstone"));
    EXPECT_TRUE(isThere("note"));
}

TEST_F(OldestFilePruning, TheFilesOfAPendingDocumentGoLikeAnyOther) {
    const auto id = pendingIds().front();
    put(id + ".Harvelstone", 5);
    put("goal_" + id + ".Harvelstone", 5);
    prune();

    EXPECT_FALSE(isThere(id + ".Harvelstone"));
    EXPECT_FALSE(isThere("goal_" + id + ".Harvelstone"));
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_THAT(storedIds(), ElementsAre(id));
}

TEST_F(OldestFilePruning, ASubfolderIsTreatedLikeAFile) {
    const auto folder = path("folder.Harvelstone");
    std::filesystem::create_directory(folder);
    machine.setFileAge("folder.Harvelstone", 5 * secondsOfAnHour);

    EXPECT_THAT(linesOfPruning(), Contains("documentManager.deleteOldestJsonFile : " + folder));
}

TEST_F(OldestFilePruning, AFailedDeletionIsLoggedAndThePassGoesOn) {
    put("a.Harvelstone", 5);
    put("b.Harvelstone", 5);
    files->removeError = std::make_error_code(std::errc::operation_not_permitted);
    const auto lines = linesOfPruning();

    EXPECT_THAT(lines, Contains("documentManager.deleteOldestJsonFile : " + path("a.Harvelstone")));
    EXPECT_THAT(lines, Contains("documentManager.deleteOldestJsonFile : " + path("b.Harvelstone")));
    EXPECT_TRUE(isThere("a.Harvelstone"));
}

TEST_F(OldestFilePruning, AFileWithoutAttributesIsSkipped) {
    put("a.Harvelstone", 5);
    files->attributesError = std::make_error_code(std::errc::permission_denied);

    EXPECT_THAT(linesOfPruning(), IsEmpty());
    EXPECT_TRUE(isThere("a.Harvelstone"));
}

TEST_F(OldestFilePruning, AnEmptyOrMissingFolderIsANoOp) {
    std::filesystem::remove_all(machine.folder);
    EXPECT_THAT(linesOfPruning(), IsEmpty());
    std::filesystem::create_directory(machine.folder);
    EXPECT_THAT(linesOfPruning(), IsEmpty());
}

TEST_F(OldestFilePruning, OnePassHasOneCurrentDate) {
    put("a.Harvelstone", 4 - minute);
    put("b.Harvelstone", 4 - minute);
    machine.clock->tickPerReading(60);
    prune();

    EXPECT_TRUE(isThere("a.Harvelstone"));
    EXPECT_TRUE(isThere("b.Harvelstone"));
}

TEST_F(OldestFilePruning, OnlyAFileThatGoesIsLookedAtTwice) {
    put("click_S1_1.000000.Harvelstone", 3);
    put("click_S2_2.000000.Harvelstone", 5);
    files->lookedAt.clear();
    prune();

    EXPECT_EQ(files->lookedAt[path("click_S1_1.000000.Harvelstone")], 1);
    EXPECT_EQ(files->lookedAt[path("click_S2_2.000000.Harvelstone")], 2);
    EXPECT_FALSE(isThere("click_S2_2.000000.Harvelstone"));
}

TEST_F(OldestFilePruning, AFileThatIsWrittenWhileOldOnesAreDeletedStays) {
    put("a.Harvelstone", 5);
    put("b.Harvelstone", 5);
    files->onRemove = [&] {
        for (const auto* name : {"a.Harvelstone", "b.Harvelstone"}) machine.setFileAge(name, 0);
    };
    prune();

    EXPECT_THAT(files->removed, ::testing::SizeIs(1));
    EXPECT_NE(isThere("a.Harvelstone"), isThere("b.Harvelstone"));
}

TEST_F(OldestFilePruning, AnExceptionEndsThePassWithOneLine) {
    put("a.Harvelstone", 5);
    put("b.Harvelstone", 5);
    files->onRemove = [&] {
        if (!files->removed.empty()) throw platform::Exception("no more");
    };
    const auto lines = linesOfPruning();

    EXPECT_EQ(lines.back(), "DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    EXPECT_THAT(files->removed, ::testing::SizeIs(1));
    EXPECT_NE(isThere("a.Harvelstone"), isThere("b.Harvelstone"));
}

TEST_F(OldestFilePruning, AnErrorOfAnotherKindPassesOn) {
    files->onList = [] { throw std::runtime_error("broken"); };
    EXPECT_THROW(prune(), std::runtime_error);
}

}  // namespace
}  // namespace harvelstone::testing
