#include <filesystem>
#include <thread>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::IsEmpty;

class TinyMapTest : public StorageTest {};

TEST_F(TinyMapTest, IsOneForTheProcess) { EXPECT_EQ(&TinyMap::sharedInstance(), &TinyMap::sharedInstance()); }

TEST_F(TinyMapTest, GivesAnUnknownNameAnEmptyMapAndMakesNoFile) {
    EXPECT_EQ(map("new")->jsonString(), "{}");
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
}

TEST_F(TinyMapTest, AnEmptyMapCanBeWrittenAtOnce) {
    map("new")->putInt("a", 1);
    EXPECT_EQ(machine.readFile("new.Harvelstone"), R"({"a":1})");
}

TEST_F(TinyMapTest, GivesTheSameMapForTheSameName) {
    EXPECT_EQ(map("one"), map("one"));
    EXPECT_NE(map("one"), map("two"));
}

TEST_F(TinyMapTest, LoadsAMapThatAnEarlierLifeStored) {
    life([] { map("kept")->putString("a", "b"); });
    EXPECT_EQ(map("kept")->jsonString(), R"({"a":"b"})");
}

TEST_F(TinyMapTest, KeepsAMapWhoseFileWasDeleted) {
    map("kept")->putInt("a", 1);
    std::filesystem::remove(storageFolder() + "kept.Harvelstone");
    EXPECT_EQ(map("kept")->jsonString(), R"({"a":1})");
}

TEST_F(TinyMapTest, RefusesAKnownOrUnknownNameThatIsNoFileName) {
    EXPECT_THROW(map("a/b"), platform::InvalidArgumentException);
    EXPECT_THROW(map("a/b"), platform::InvalidArgumentException);
    EXPECT_THROW(map(""), platform::InvalidArgumentException);
}

TEST_F(TinyMapTest, GivesOneMapToThreadsThatAskAtOnce) {
    std::vector<std::shared_ptr<NamedMap>> maps(8);
    std::vector<std::thread> threads;
    for (auto& place : maps) threads.emplace_back([&place] { place = map("shared"); });
    for (auto& thread : threads) thread.join();
    for (const auto& one : maps) EXPECT_EQ(one, maps.front());
}

}  // namespace
}  // namespace harvelstone::testing
