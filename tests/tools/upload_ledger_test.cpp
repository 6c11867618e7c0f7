#include "tools/upload_ledger.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace harvelstone::tools {

namespace {

TEST(UploadLedger, JoinsAnUploadWithItsDocument) {
    UploadLedger ledger;
    ledger.debugLine("DocumentManager.sendDocument(documentID) : S1_1.000000");
    ledger.debugLine("DEBUG_HARVELSTONE_JSON[SDK->SERVER] {\"a\":1}");
    ASSERT_EQ(ledger.uploads().size(), 1U);
    EXPECT_EQ(ledger.uploads()[0].sort, UploadSort::document);
    EXPECT_EQ(ledger.uploads()[0].documentId, "S1_1.000000");
    EXPECT_EQ(ledger.uploads()[0].json, "{\"a\":1}");
}

TEST(UploadLedger, TellsClicksAndGoalsApart) {
    UploadLedger ledger;
    ledger.debugLine("DEBUG_HARVELSTONE_CLICK_DATA sendClickDataImmediately(documentID) : S1_1.000000");
    ledger.debugLine("DEBUG_HARVELSTONE_JSON_CLICK_DATA[SDK->SERVER] {\"c\":1} ");
    ledger.debugLine("DEBUG_HARVELSTONE_CLICK_DATA sendGoalDataImmediately(documentID) : S2_2.000000");
    ledger.debugLine("DEBUG_HARVELSTONE_JSON_GOAL_DATA[SDK->SERVER] {\"g\":1} ");
    ASSERT_EQ(ledger.uploads().size(), 2U);
    EXPECT_EQ(ledger.uploads()[0].sort, UploadSort::click);
    EXPECT_EQ(ledger.uploads()[0].json, "{\"c\":1}");
    EXPECT_EQ(ledger.uploads()[1].sort, UploadSort::goal);
    EXPECT_EQ(ledger.uploads()[1].documentId, "S2_2.000000");
}

TEST(UploadLedger, KeepsTheThreadsApart) {
    UploadLedger ledger;
    ledger.debugLine("DocumentManager.sendDocument(documentID) : S1_1.000000");
    std::thread([&] { ledger.debugLine("DocumentManager.sendDocument(documentID) : S2_2.000000"); }).join();
    ledger.debugLine("DEBUG_HARVELSTONE_JSON[SDK->SERVER] {}");
    EXPECT_EQ(ledger.uploads().at(0).documentId, "S1_1.000000");
}

TEST(UploadLedger, CountsCreationsRemovalsAndRepeats) {
    UploadLedger ledger;
    ledger.debugLine("DEBUG_HARVELSTONE_CONFIG : documentID --> S1_1.000000 ");
    ledger.debugLine("DEBUG_HARVELSTONE_REMOVE_FILE document id : S1_1.000000");
    ledger.debugLine("DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck == TRUE ) : an Exception occurred");
    ledger.debugLine("DEBUG_HARVELSTONE_JSON[SERVER->SDK] {}");
    EXPECT_THAT(ledger.createdDocuments(), ::testing::ElementsAre("S1_1.000000"));
    EXPECT_EQ(ledger.removedDocuments(), 1U);
    EXPECT_EQ(ledger.repeatsAskedFor(), 1U);
    EXPECT_TRUE(ledger.uploads().empty());
}

}  // namespace

}  // namespace harvelstone::tools
