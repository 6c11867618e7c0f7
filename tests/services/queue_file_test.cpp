#include <filesystem>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/queue_format.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using platform::InvalidArgumentException;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;

class QueueFileTest : public StorageTest {
  protected:
    std::size_t fileSize() const { return machine.readFile("q.Harvelstone").size(); }
    void deleteFile() const { std::filesystem::remove(storageFolder() + "q.Harvelstone"); }
};

TEST_F(QueueFileTest, GivesRecordsBackInTheOrderOfAdding) {
    addAll("q", 1, 3);
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_EQ(popNumber("q"), 2);
    EXPECT_EQ(popNumber("q"), 3);
    EXPECT_EQ(popNumber("q"), -1);
}

TEST_F(QueueFileTest, GivesARecordBackAsItWas) {
    const Dictionary record{{"text", "caf\xC3\xA9\n\""},
                            {"double", 42.0},
                            {"flag", true},
                            {"list", List{1, nullptr}},
                            {"inner", Dictionary{{"a", "b"}}}};
    QueueFile("q").add(record);
    EXPECT_EQ(QueueFile("q").pop(), record);
}

TEST_F(QueueFileTest, PopOnAnEmptyQueueIsAbsentAndMakesNoFile) {
    EXPECT_EQ(QueueFile("q").pop(), std::nullopt);
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
}

TEST_F(QueueFileTest, RefusesANameThatIsNoFileName) {
    EXPECT_THROW(QueueFile("a/b"), InvalidArgumentException);
    EXPECT_THROW(QueueFile(""), InvalidArgumentException);
}

TEST_F(QueueFileTest, SurvivesARestart) {
    life([] { addAll("q", 1, 2); });
    life([] { addAll("q", 3, 3); });
    life([] { EXPECT_EQ(popNumber("q"), 1); });
    EXPECT_THAT(drain("q"), ElementsAre(2, 3));
}

TEST_F(QueueFileTest, AddIsOneWriteToAFileThatIsThere) {
    add("q", 1);
    disk->clear();
    add("q", 2);
    EXPECT_THAT(disk->calls(),
                ElementsAre("open q.Harvelstone", "lock q.Harvelstone", "append q.Harvelstone", "sync q.Harvelstone"));
}

TEST_F(QueueFileTest, AddToANewFileSyncsTheFileAndTheFolder) {
    add("other", 1);
    disk->clear();
    add("q", 1);
    EXPECT_EQ(disk->count("append"), 1U);
    EXPECT_EQ(disk->count("sync"), 1U);
    EXPECT_EQ(disk->calls().back(), "syncFolder");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("other.Harvelstone", "q.Harvelstone"));
}

TEST_F(QueueFileTest, SyncsNothingWhenOnlyTheProcessMayEnd) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    addAll("q", 1, 2);
    drain("q");
    EXPECT_EQ(disk->count("sync") + disk->count("syncFolder"), 0U);
}

TEST_F(QueueFileTest, LeavesTheFileBehindWithItsHeaderAlone) {
    addAll("q", 1, 3);
    drain("q");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("q.Harvelstone"));
    EXPECT_EQ(fileSize(), queue_format::headerSize);
}

TEST_F(QueueFileTest, GrowsNoFurtherWhenItIsDrainedAgainAndAgain) {
    for (int round = 0; round < 20; ++round) {
        addAll("q", 1, 3);
        EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3));
        EXPECT_EQ(fileSize(), queue_format::headerSize);
    }
}

TEST_F(QueueFileTest, CountsOnWhenItIsEmptied) {
    for (int round = 0; round < 2; ++round) {
        addAll("q", 1, 3);
        drain("q");
    }
    add("q", 4);
    EXPECT_EQ(QueueFile("q").count()->consumed, 6U);
    EXPECT_EQ(QueueFile("q").count()->unread, 1U);
}

TEST_F(QueueFileTest, CountsWhatAScopeHasPoppedOnlyWhenItEnds) {
    addAll("q", 1, 3);
    {
        const StorageBatch scope;
        QueueFile("q").pop();
        EXPECT_EQ(QueueFile("q").count()->consumed, 0U);
        EXPECT_EQ(QueueFile("q").count()->unread, 2U);
    }
    EXPECT_EQ(QueueFile("q").count()->consumed, 1U);
}

TEST_F(QueueFileTest, TellsWhatItHoldsBeforeItIsRemoved) {
    addAll("q", 1, 3);
    std::uint64_t unread = 0;
    EXPECT_TRUE(QueueFile("q").remove([&](const QueueCounts& counts) {
        unread = counts.unread;
        EXPECT_THAT(machine.storedFiles(), ElementsAre("q.Harvelstone"));
    }));
    EXPECT_EQ(unread, 3U);
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
    add("q", 4);
    EXPECT_THAT(drain("q"), ElementsAre(4));
}

TEST_F(QueueFileTest, GivesNoMoreOfWhatWasRemovedInTheMiddleOfAScope) {
    addAll("q", 1, 3);
    const StorageBatch scope;
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_TRUE(QueueFile("q").remove([](const QueueCounts& counts) { EXPECT_EQ(counts.unread, 2U); }));
    EXPECT_EQ(popNumber("q"), -1);
}

TEST_F(QueueFileTest, DrainingAnEmptyQueueWritesNothing) {
    addAll("q", 1, 3);
    drain("q");
    disk->clear();
    EXPECT_THAT(drain("q"), IsEmpty());
    EXPECT_EQ(disk->count("append") + disk->count("truncate") + disk->count("sync"), 0U);
}

TEST_F(QueueFileTest, IsEmptiedWithTheLastRecordPoppedOneByOne) {
    addAll("q", 1, 50);
    for (int number = 1; number <= 50; ++number) EXPECT_EQ(popNumber("q"), number);
    EXPECT_EQ(fileSize(), queue_format::headerSize);
}

TEST_F(QueueFileTest, WhatWasPoppedIsGoneForEveryReaderOfTheProcess) {
    addAll("q", 1, 3);
    QueueFile one("q");
    QueueFile two("q");
    const StorageBatch scope;
    EXPECT_EQ(numberOf(*one.pop()), 1);
    EXPECT_EQ(numberOf(*two.pop()), 2);
    EXPECT_EQ(popNumber("q"), 3);
    EXPECT_EQ(one.pop(), std::nullopt);
}

TEST_F(QueueFileTest, TakesRecordsWhileAScopeDrainsIt) {
    addAll("q", 1, 2);
    {
        const StorageBatch scope;
        EXPECT_EQ(popNumber("q"), 1);
        add("q", 3);
        EXPECT_EQ(popNumber("q"), 2);
        EXPECT_EQ(popNumber("q"), 3);
        EXPECT_EQ(popNumber("q"), -1);
        add("q", 4);
    }
    EXPECT_THAT(drain("q"), ElementsAre(4));
    EXPECT_EQ(fileSize(), queue_format::headerSize);
}

TEST_F(QueueFileTest, RemembersOverARestartWhatWasConsumedInPart) {
    life([] {
        addAll("q", 1, 4);
        const StorageBatch scope;
        EXPECT_EQ(popNumber("q"), 1);
        EXPECT_EQ(popNumber("q"), 2);
    });
    life([] { EXPECT_EQ(popNumber("q"), 3); });
    EXPECT_THAT(drain("q"), ElementsAre(4));
}

TEST_F(QueueFileTest, RefusesARecordThatIsNestedTooDeep) {
    List list;
    for (std::size_t depth = 1; depth < maximumNestingDepth; ++depth) list = List{Value(std::move(list))};
    EXPECT_THROW(QueueFile("q").add({{"a", list}}), InvalidArgumentException);
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
}

TEST_F(QueueFileTest, KeepsTheDeepestRecord) {
    List list;
    for (std::size_t depth = 2; depth < maximumNestingDepth; ++depth) list = List{Value(std::move(list))};
    const Dictionary record{{"a", list}};
    QueueFile("q").add(record);
    EXPECT_EQ(QueueFile("q").pop(), record);
}

TEST_F(QueueFileTest, KeepsTheLongestRecordAndRefusesALongerOne) {
    const auto overhead = platform::jsonText(Dictionary{{"a", ""}}).size();
    const std::string longest(queue_format::longestPayload - overhead, 'x');
    QueueFile("q").add({{"a", longest}});
    try {
        QueueFile("q").add({{"a", longest + "x"}});
        FAIL() << "it was accepted";
    } catch (const InvalidArgumentException& exception) {
        EXPECT_EQ(exception.reason(), "a record of 16777216 bytes is too long, 16777215 is the limit");
    }
    EXPECT_EQ(QueueFile("q").pop(), (Dictionary{{"a", longest}}));
    EXPECT_EQ(QueueFile("q").pop(), std::nullopt);
}

TEST_F(QueueFileTest, RepairsTextThatIsNotUtf8) {
    QueueFile("q").add({{"key\xFE", "value\xFE"}});
    add("q", 2);
    EXPECT_EQ(QueueFile("q").pop(), (Dictionary{{"key\xEF\xBF\xBD", "value\xEF\xBF\xBD"}}));
    EXPECT_EQ(popNumber("q"), 2);
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(QueueFileTest, IsMadeAnewWhenItsFileWasDeleted) {
    addAll("q", 1, 2);
    deleteFile();
    EXPECT_EQ(popNumber("q"), -1);
    addAll("q", 3, 4);
    EXPECT_THAT(drain("q"), ElementsAre(3, 4));
}

TEST_F(QueueFileTest, IsMadeAnewWithItsFolder) {
    add("q", 1);
    std::filesystem::remove_all(machine.documents);
    add("q", 2);
    EXPECT_THAT(drain("q"), ElementsAre(2));
}

TEST_F(QueueFileTest, AppliesNoOldPlaceToANewFile) {
    const QueueFile keepsTheState("q");
    addAll("q", 1, 4);
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_EQ(popNumber("q"), 2);
    deleteFile();
    life([] { addAll("q", 11, 19); });
    EXPECT_THAT(drain("q"), ElementsAre(11, 12, 13, 14, 15, 16, 17, 18, 19));
}

TEST_F(QueueFileTest, AppliesNoOldPlaceToAFileThatAnotherProcessEmptied) {
    const QueueFile keepsTheState("q");
    addAll("q", 1, 4);
    EXPECT_EQ(popNumber("q"), 1);
    life([] {
        EXPECT_THAT(drain("q"), ElementsAre(2, 3, 4));
        addAll("q", 11, 19);
    });
    EXPECT_THAT(drain("q"), ElementsAre(11, 12, 13, 14, 15, 16, 17, 18, 19));
}

TEST_F(QueueFileTest, IsMadeAnewWhenItsFileIsDeletedDuringAScope) {
    addAll("q", 1, 3);
    {
        const StorageBatch scope;
        EXPECT_EQ(popNumber("q"), 1);
        deleteFile();
        add("q", 11);
        EXPECT_EQ(popNumber("q"), 11);
        add("q", 12);
    }
    EXPECT_THAT(drain("q"), ElementsAre(12));
}

TEST_F(QueueFileTest, DoesNotComeBackWhenItsFileIsDeletedDuringAScope) {
    addAll("q", 1, 3);
    {
        const StorageBatch scope;
        EXPECT_EQ(popNumber("q"), 1);
        deleteFile();
    }
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
    EXPECT_EQ(popNumber("q"), -1);
}

TEST_F(QueueFileTest, CutsATornTailWithoutAWord) {
    life([] { addAll("q", 1, 2); });
    const auto size = fileSize();
    machine.writeFile("q.Harvelstone", machine.readFile("q.Harvelstone") + "\xFEHV\xFFR");
    EXPECT_EQ(popNumber("q"), 1);
    add("q", 3);
    EXPECT_THAT(drain("q"), ElementsAre(2, 3));
    EXPECT_THAT(storeLines(), IsEmpty());
    EXPECT_THAT(size, Gt(queue_format::headerSize));
}

TEST_F(QueueFileTest, ReportsADamagedFrameOnceAndLosesItAlone) {
    life([] { addAll("q", 1, 3); });
    auto bytes = machine.readFile("q.Harvelstone");
    const auto frameSize = (bytes.size() - queue_format::headerSize) / 3;
    const auto second = queue_format::headerSize + frameSize;
    bytes[second + queue_format::frameHeadSize] = 'x';
    machine.writeFile("q.Harvelstone", bytes);
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_EQ(popNumber("q"), 3);
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_THAT(storeLines(), ElementsAre("q.Harvelstone is damaged, " + std::to_string(frameSize) + " bytes at " +
                                          std::to_string(second) + " passed over"));
    EXPECT_EQ(fileSize(), queue_format::headerSize);
}

TEST_F(QueueFileTest, ADamagedHeaderCostsNoRecord) {
    life([] { addAll("q", 1, 3); });
    auto bytes = machine.readFile("q.Harvelstone");
    bytes[3] = 'x';
    machine.writeFile("q.Harvelstone", bytes);
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_THAT(drain("q"), ElementsAre(2, 3));
    EXPECT_THAT(storeLines(), ElementsAre("q.Harvelstone is damaged, 32 bytes at 0 passed over"));
    EXPECT_EQ(fileSize(), queue_format::headerSize);
}

TEST_F(QueueFileTest, SetsAFileAsideThatIsNoQueue) {
    machine.writeFile("q.Harvelstone", "something else");
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_EQ(machine.readFile("q.corrupt-1479259200.Harvelstone"), "something else");
    EXPECT_THAT(storeLines(),
                ElementsAre("q.Harvelstone is no queue file, set aside as q.corrupt-1479259200.Harvelstone"));
    add("q", 1);
    EXPECT_THAT(drain("q"), ElementsAre(1));
}

TEST_F(QueueFileTest, LeavesAForeignFileThatCannotBeSetAside) {
    machine.writeFile("q.Harvelstone", "something else");
    disk->failEvery("rename", std::errc::permission_denied);
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_EQ(machine.readFile("q.Harvelstone"), "something else");
    EXPECT_THAT(storeLines(), ElementsAre("could not set aside q.Harvelstone : Permission denied"));
}

TEST_F(QueueFileTest, ARecordAddedToAForeignFileIsFound) {
    machine.writeFile("q.Harvelstone", "something else");
    add("q", 1);
    EXPECT_THAT(drain("q"), ElementsAre(1));
    EXPECT_THAT(storeLines(), ElementsAre("q.Harvelstone is damaged, 14 bytes at 0 passed over"));
}

TEST_F(QueueFileTest, DrainsAThousandsOfRecordsInOrder) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    addAll("q", 1, 5000);
    EXPECT_EQ(drain("q"), numbersFromTo(1, 5000));
}

}  // namespace
}  // namespace harvelstone::testing
