#include <filesystem>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class StorageFolder : public StorageTest {};

void make() {
    LaterLines lines;
    ASSERT_TRUE(ensureStorageFolder(lines));
}

bool sync() {
    LaterLines lines;
    return syncStorageFolder(lines);
}

TEST_F(StorageFolder, LiesInTheFirstDocumentsFolder) {
    EXPECT_EQ(storageFolder(), machine.documents + "/harvelstone/");
}

TEST_F(StorageFolder, NamesAStoredFileAfterItsMapOrQueue) {
    EXPECT_EQ(storedFileName("DocumentDB"), "DocumentDB.Harvelstone");
    EXPECT_EQ(storedFilePath("goal_A_1.500000"), storageFolder() + "goal_A_1.500000.Harvelstone");
}

TEST_F(StorageFolder, RefusesNamesThatAreNoFileNames) {
    using namespace std::string_view_literals;
    const std::string tooLong(longestStoredName + 1, 'n');
    for (const auto name : {""sv, "."sv, ".."sv, "a/b"sv, "/"sv, "../a"sv, "a\0b"sv, std::string_view(tooLong)})
        EXPECT_THROW(storedFilePath(name), platform::InvalidArgumentException) << name;
}

TEST_F(StorageFolder, AcceptsEveryOtherName) {
    const std::string longest(longestStoredName, 'n');
    for (const std::string_view name : {"a", "...", ".a", "a b", "\\", "caf\xC3\xA9", longest.c_str()})
        EXPECT_NO_THROW(storedFilePath(name)) << name;
}

TEST_F(StorageFolder, FindsTheNameInAStoredFileName) {
    EXPECT_EQ(storedName("DocumentDB.Harvelstone"), "DocumentDB");
    EXPECT_EQ(storedName("a.b.Harvelstone"), "a.b");
    for (const auto* other : {"", "Harvelstone", ".Harvelstone", "aHarvelstone", "a.harvelstone", "a.Harvelstone ",
                              "a.Harvelstone.bak", "DocumentDB.tmp-6F9619FF-8B86-4011-Harvelstone"})
        EXPECT_EQ(storedName(other), "") << other;
}

TEST_F(StorageFolder, TemporaryFileCanBelongToNoMapButIsFoundByItsEnding) {
    const auto path = temporaryFilePath("DocumentDB");
    EXPECT_EQ(path, storageFolder() + "DocumentDB.tmp-00000001-0000-4000-Harvelstone");
    EXPECT_TRUE(path.ends_with(FILE_SUFFIX));
}

TEST_F(StorageFolder, TemporaryFileIsTheSameForEachCommitOfAProcessAndAnotherForEachProcess) {
    const auto path = temporaryFilePath("A");
    EXPECT_EQ(temporaryFilePath("A"), path);
    life([&] { EXPECT_NE(temporaryFilePath("A"), path); });
}

TEST_F(StorageFolder, LongestNameFitsWithEveryEnding) {
    constexpr std::size_t longestFileName = 255;
    const std::string name(longestStoredName, 'n');
    for (const auto& path : {storedFilePath(name), temporaryFilePath(name), corruptFilePath(name, 1e10)})
        EXPECT_LE(path.size() - storageFolder().size(), longestFileName) << path;
}

TEST_F(StorageFolder, FindsTheOwnerInACorruptFileName) {
    EXPECT_EQ(corruptFilePath("A", 1479259200.9), storageFolder() + "A.corrupt-1479259200.Harvelstone");
    EXPECT_EQ(corruptFileOwner("A.corrupt-1479259200.Harvelstone"), "A");
    EXPECT_EQ(corruptFileOwner("A.corrupt-1.corrupt-2.Harvelstone"), "A.corrupt-1");
    for (const auto* other : {"", "A.Harvelstone", "A.corrupt-.Harvelstone", "A.corrupt-1x.Harvelstone",
                              ".corrupt-1.Harvelstone", "A.corrupt-1"})
        EXPECT_EQ(corruptFileOwner(other), "") << other;
}

TEST_F(StorageFolder, IsMadeWithItsParents) {
    std::filesystem::remove_all(machine.documents);
    {
        LaterLines lines;
        EXPECT_TRUE(ensureStorageFolder(lines));
    }
    EXPECT_TRUE(std::filesystem::is_directory(storageFolder()));
    EXPECT_THAT(disk->calls(), ElementsAre("makeFolder"));
    EXPECT_TRUE(sync());
    EXPECT_EQ(disk->count("syncFolder"), 3U) << "both parents, and the folder";
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(StorageFolder, ThatCannotBeMadeIsLoggedOnceUntilItCan) {
    const auto ensure = [] {
        LaterLines lines;
        return ensureStorageFolder(lines);
    };
    const auto line = "could not make the folder " + storageFolder() + " : No space left on device";
    disk->failEvery("makeFolder", std::errc::no_space_on_device);
    EXPECT_FALSE(ensure());
    EXPECT_FALSE(ensure());
    EXPECT_THAT(storeLines(), ElementsAre(line));
    disk->heal();
    EXPECT_TRUE(ensure());
    std::filesystem::remove_all(storageFolder());
    disk->failEvery("makeFolder", std::errc::no_space_on_device);
    EXPECT_FALSE(ensure());
    EXPECT_THAT(storeLines(), ElementsAre(line, line));
}

TEST_F(StorageFolder, IsSyncedOnceForManyChanges) {
    LaterLines lines;
    ASSERT_TRUE(ensureStorageFolder(lines) && syncStorageFolder(lines));
    disk->clear();
    noteFolderChange();
    noteFolderChange();
    EXPECT_TRUE(syncStorageFolder(lines));
    EXPECT_TRUE(syncStorageFolder(lines));
    EXPECT_THAT(disk->calls(), ElementsAre("syncFolder"));
}

TEST_F(StorageFolder, ThatCannotBeSyncedIsSyncedTheNextTime) {
    {
        LaterLines lines;
        ASSERT_TRUE(ensureStorageFolder(lines) && syncStorageFolder(lines));
    }
    noteFolderChange();
    disk->failEvery("syncFolder", std::errc::io_error);
    EXPECT_FALSE(sync());
    EXPECT_FALSE(sync());
    EXPECT_THAT(storeLines(), ElementsAre("could not sync the folder " + storageFolder() + " : Input/output error"));
    disk->heal();
    disk->clear();
    EXPECT_TRUE(sync());
    EXPECT_EQ(disk->count("syncFolder"), 1U);
}

TEST_F(StorageFolder, WhoseParentCannotBeSyncedHoldsNothingBackAndHasItSyncedTheNextTime) {
    std::filesystem::remove_all(storageFolder());
    make();
    disk->failCall(1, std::errc::io_error);
    EXPECT_TRUE(sync());
    EXPECT_EQ(disk->count("syncFolder"), 2U) << "the parent, and the folder";
    EXPECT_TRUE(owesFolderSync());
    EXPECT_THAT(storeLines(), ElementsAre(HasSubstr("could not sync the folder ")));
    disk->heal();
    disk->clear();
    EXPECT_TRUE(sync());
    EXPECT_FALSE(owesFolderSync());
    EXPECT_EQ(disk->count("syncFolder"), 1U) << "the parent";
}

TEST_F(StorageFolder, ThatIsMadeAgainStillHasTheParentsSyncedThatWereOwed) {
    std::filesystem::remove_all(machine.documents);
    make();
    disk->failEvery("syncFolder", std::errc::io_error);
    EXPECT_FALSE(sync());
    disk->heal();
    std::filesystem::remove_all(storageFolder());
    make();
    disk->clear();
    EXPECT_TRUE(sync());
    EXPECT_EQ(disk->count("syncFolder"), 3U) << "both parents, each once, and the folder";
}

TEST_F(StorageFolder, ThatCannotBeSyncedIsLoggedBehindAParentThatNeverCan) {
    std::filesystem::remove_all(storageFolder());
    make();
    disk->failCall(1, std::errc::permission_denied);
    EXPECT_TRUE(sync());
    noteFolderChange();
    disk->failEvery("syncFolder", std::errc::io_error);
    EXPECT_FALSE(sync());
    EXPECT_FALSE(sync());
    EXPECT_THAT(storeLines(), ElementsAre("could not sync the folder " + machine.documents + " : Permission denied",
                                          "could not sync the folder " + storageFolder() + " : Input/output error"));
}

TEST_F(StorageFolder, SetsTwoFilesOfOneSecondAsideUnderTwoNames) {
    for (const auto* content : {"first", "second"}) {
        machine.writeFile("A.Harvelstone", content);
        LaterLines lines;
        EXPECT_TRUE(setAside("A", "not nice", lines));
    }
    EXPECT_THAT(machine.storedFiles(),
                ElementsAre("A.corrupt-1479259200.Harvelstone", "A.corrupt-1479259201.Harvelstone"));
    EXPECT_EQ(machine.readFile("A.corrupt-1479259200.Harvelstone"), "first");
    EXPECT_EQ(machine.readFile("A.corrupt-1479259201.Harvelstone"), "second");
    EXPECT_THAT(storeLines(), ElementsAre("A.Harvelstone is not nice, set aside as A.corrupt-1479259200.Harvelstone",
                                          "A.Harvelstone is not nice, set aside as A.corrupt-1479259201.Harvelstone"));
}

}  // namespace
}  // namespace harvelstone::testing
