#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/map_format.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using platform::InvalidArgumentException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NamedMapTest : public StorageTest {
  protected:
    /// A list nested so deep: 1 is a flat list.
    static List nested(std::size_t depth) {
        List list;
        for (std::size_t i = 1; i < depth; ++i) list = List{Value(std::move(list))};
        return list;
    }
};

TEST_F(NamedMapTest, GivesBackWhatWasPut) {
    map("m")->putDictionary("dictionary", {{"a", 1}});
    map("m")->putMutableArray("list", {1, "two", 3.0});
    map("m")->putInt("integer", std::numeric_limits<std::int64_t>::min());
    map("m")->putDouble("double", 42.0);
    map("m")->putString("text", "caf\xC3\xA9");
    EXPECT_EQ(map("m")->get("dictionary"), Value(Dictionary{{"a", 1}}));
    EXPECT_EQ(map("m")->get("list"), Value(List{1, "two", 3.0}));
    EXPECT_EQ(map("m")->get("integer"), Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(map("m")->get("double"), Value(42.0));
    EXPECT_EQ(map("m")->get("text"), Value("caf\xC3\xA9"));
}

TEST_F(NamedMapTest, SurvivesARestartWithoutASave) {
    life([] {
        map("m")->putDictionary("dictionary", {{"flag", true}, {"nothing", nullptr}});
        map("m")->putMutableArray("list", {1, "two", 3.5});
        map("m")->putDouble("double", 42.0);
    });
    EXPECT_EQ(map("m")->get("dictionary"), Value(Dictionary{{"flag", true}, {"nothing", nullptr}}));
    EXPECT_EQ(map("m")->get("list"), Value(List{1, "two", 3.5}));
    EXPECT_EQ(map("m")->get("double"), Value(42.0)) << "a double stays a double";
}

TEST_F(NamedMapTest, PutsSeveralMembersInOneCommit) {
    map("m")->putInt("a", 1);
    disk->clear();
    map("m")->putAll({{"a", 2}, {"b", "two"}});
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":2,"b":"two"})");
    EXPECT_EQ(disk->count("rename"), 1U);
}

TEST_F(NamedMapTest, PutsNoneOfSeveralMembersWhenOneIsRefused) {
    EXPECT_THROW(map("m")->putAll({{"a", 2}, {"b", nested(maximumNestingDepth + 1)}}), InvalidArgumentException);
    EXPECT_FALSE(map("m")->has("a"));
}

TEST_F(NamedMapTest, UpdatesFromWhatItHoldsWithNothingPutInBetween) {
    const auto countUp = [] {
        for (int i = 0; i < 1000; ++i)
            map("m")->update([](const Dictionary& held) -> Dictionary {
                return {{"count", integerValue(findValue(held, "count")) + 1}};
            });
    };
    const StorageBatch oneCommit;
    std::thread other([&] {
        const StorageBatch otherCommit;
        countUp();
    });
    countUp();
    other.join();
    EXPECT_EQ(map("m")->get("count"), Value(2000));
}

TEST_F(NamedMapTest, StaysAsItWasWhenAnUpdateRaises) {
    map("m")->putInt("a", 1);
    disk->clear();
    EXPECT_THROW(map("m")->update([](const Dictionary&) -> Dictionary { throw InvalidArgumentException("no"); }),
                 InvalidArgumentException);
    EXPECT_EQ(map("m")->get("a"), Value(1));
    EXPECT_EQ(disk->count("rename"), 0U);
}

TEST_F(NamedMapTest, ShowsWhatItsFileHolds) {
    life([] { map("m")->putInt("a", 1); });
    Dictionary shown;
    map("m")->read([&](const Dictionary& held) { shown = held; });
    EXPECT_EQ(shown, (Dictionary{{"a", 1}}));
}

TEST_F(NamedMapTest, StoresWhatIsChangedInItsPlace) {
    life([] { map("m")->putMutableArray("list", {1, 2}); });
    disk->clear();
    map("m")->change([](Dictionary& held) { held.at("list").list()->back() = 3; });
    EXPECT_EQ(map("m")->get("list"), Value(List{1, 3}));
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"list":[1,3]})");
    EXPECT_EQ(disk->count("rename"), 1U);
}

TEST_F(NamedMapTest, StoresOneJsonObject) {
    map("m")->putInt("b", 2);
    map("m")->putMutableArray("a", {nullptr, true});
    EXPECT_EQ(nlohmann::json::parse(machine.readFile("m.Harvelstone")),
              nlohmann::json::parse(R"({"a": [null, true], "b": 2})"));
    EXPECT_EQ(map("m")->jsonString(), machine.readFile("m.Harvelstone"));
}

TEST_F(NamedMapTest, ReadsAMissingKeyAsAbsent) {
    EXPECT_EQ(map("m")->get("a"), std::nullopt);
    EXPECT_FALSE(map("m")->has("a"));
    EXPECT_THAT(map("m")->getMutableDictionary("a"), IsEmpty());
    EXPECT_THAT(map("m")->getMutableArray("a"), IsEmpty());
}

TEST_F(NamedMapTest, ReadsANullOfTheFileAsAbsent) {
    machine.writeFile("m.Harvelstone", R"({"a": null, "b": 1})");
    EXPECT_EQ(map("m")->get("a"), std::nullopt);
    EXPECT_FALSE(map("m")->has("a"));
    EXPECT_TRUE(map("m")->has("b"));
}

TEST_F(NamedMapTest, GivesEmptyContainersForValuesOfAnotherKind) {
    map("m")->putInt("a", 1);
    EXPECT_THAT(map("m")->getMutableDictionary("a"), IsEmpty());
    EXPECT_THAT(map("m")->getMutableArray("a"), IsEmpty());
}

TEST_F(NamedMapTest, ChangesToACopyReachTheMapOnlyThroughAPut) {
    map("m")->putDictionary("d", {{"a", 1}});
    map("m")->putMutableArray("l", {1});
    auto dictionary = map("m")->getMutableDictionary("d");
    auto list = map("m")->getMutableArray("l");
    dictionary["b"] = 2;
    list.emplace_back(2);
    EXPECT_EQ(map("m")->jsonString(), R"({"d":{"a":1},"l":[1]})");
    map("m")->putDictionary("d", dictionary);
    map("m")->putMutableArray("l", list);
    EXPECT_EQ(map("m")->jsonString(), R"({"d":{"a":1,"b":2},"l":[1,2]})");
}

TEST_F(NamedMapTest, RefusesAnAbsentStringAndNamesItsKey) {
    map("m")->putString("a", "before");
    try {
        map("m")->putString("a", std::nullopt);
        FAIL() << "it was accepted";
    } catch (const InvalidArgumentException& exception) {
        EXPECT_EQ(exception.reason(), "the string for the key \"a\" is absent");
    }
    EXPECT_EQ(map("m")->jsonString(), R"({"a":"before"})");
}

TEST_F(NamedMapTest, RefusesNumbersThatJsonCannotHold) {
    for (const double number : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_THROW(map("m")->putDouble("a", number), InvalidArgumentException);
    EXPECT_EQ(map("m")->jsonString(), "{}");
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
}

TEST_F(NamedMapTest, RefusesAValueThatIsNestedTooDeep) {
    EXPECT_THROW(map("m")->putMutableArray("a", nested(maximumNestingDepth + 1)), InvalidArgumentException);
    EXPECT_EQ(map("m")->jsonString(), "{}");
}

TEST_F(NamedMapTest, KeepsTheDeepestValueOverARestart) {
    life([] { map("m")->putMutableArray("a", nested(maximumNestingDepth)); });
    EXPECT_EQ(map("m")->get("a"), Value(nested(maximumNestingDepth)));
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(NamedMapTest, RepairsTextThatIsNotUtf8) {
    life([] {
        map("m")->putString("a\xFF", "b\xFF");
        map("m")->putDictionary("d", {{"key\xFF", "c"}});
    });
    EXPECT_EQ(map("m")->get("a\xEF\xBF\xBD"), Value("b\xEF\xBF\xBD"));
    EXPECT_EQ(map("m")->get("d"), Value(Dictionary{{"key\xEF\xBF\xBD", "c"}}));
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(NamedMapTest, CommitsWithOneWriteOneSyncOneRenameAndOneSyncOfTheFolder) {
    map("m")->putInt("a", 1);
    disk->clear();
    map("m")->putInt("a", 2);
    const auto temporary = temporaryName("m");
    EXPECT_THAT(disk->calls(), ElementsAre("open " + temporary, "append " + temporary, "sync " + temporary,
                                           "rename " + temporary + " m.Harvelstone", "syncFolder"));
}

TEST_F(NamedMapTest, SyncsNothingWhenOnlyTheProcessMayEnd) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    map("m")->putInt("a", 1);
    map("m")->save();
    EXPECT_EQ(disk->count("sync") + disk->count("syncFolder"), 0U);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1})");
}

TEST_F(NamedMapTest, LeavesNoTemporaryFile) {
    map("m")->putInt("a", 1);
    EXPECT_THAT(machine.storedFiles(), ElementsAre("m.Harvelstone"));
}

TEST_F(NamedMapTest, ReplacesATemporaryFileThatWasLeft) {
    machine.writeFile(temporaryName("m"), "half a commi");
    map("m")->putInt("a", 1);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1})");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("m.Harvelstone"));
}

TEST_F(NamedMapTest, SaveWritesNothingWhenTheFileHoldsThisState) {
    map("m")->putInt("a", 1);
    disk->clear();
    map("m")->save();
    EXPECT_THAT(disk->calls(), IsEmpty());
}

TEST_F(NamedMapTest, SaveMakesTheFileAgainThatWasDeleted) {
    map("m")->putInt("a", 1);
    std::filesystem::remove(storageFolder() + "m.Harvelstone");
    map("m")->save();
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1})");
}

TEST_F(NamedMapTest, SaveWritesAtOnceWithinAScope) {
    const StorageBatch scope;
    map("m")->putInt("a", 1);
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
    map("m")->save();
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1})");
}

TEST_F(NamedMapTest, APutMakesTheFolderAgainThatWasDeleted) {
    map("m")->putInt("a", 1);
    std::filesystem::remove_all(machine.documents);
    map("m")->putInt("b", 2);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1,"b":2})");
}

TEST_F(NamedMapTest, SetsAFileAsideThatIsNoJsonObject) {
    for (const auto* content : {"", "{", "[1]", "{\"a\":1}x", "\xFF\xFE", "null"}) {
        life([&] {
            machine.writeFile("m.Harvelstone", content);
            EXPECT_EQ(map("m")->jsonString(), "{}") << content;
            EXPECT_EQ(machine.readFile("m.corrupt-1479259200.Harvelstone"), content);
            EXPECT_THAT(storeLines(), ElementsAre("m.Harvelstone is no JSON object, set aside as "
                                                  "m.corrupt-1479259200.Harvelstone"));
            map("m")->putInt("b", 2);
            EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"b":2})");
            std::filesystem::remove(storageFolder() + "m.corrupt-1479259200.Harvelstone");
        });
    }
}

TEST_F(NamedMapTest, SetsAFileAsideThatIsTooLongWithoutReadingIt) {
    machine.writeFile("m.Harvelstone", "{");
    std::filesystem::resize_file(storageFolder() + "m.Harvelstone", map_format::longestFile + 1);
    EXPECT_EQ(map("m")->jsonString(), "{}");
    EXPECT_EQ(disk->count("read"), 0U);
    EXPECT_THAT(storeLines(), ElementsAre("m.Harvelstone is too long for a map, set aside as "
                                          "m.corrupt-1479259200.Harvelstone"));
}

TEST_F(NamedMapTest, NeverWritesOverADamagedFileThatCannotBeSetAside) {
    machine.writeFile("m.Harvelstone", "damaged");
    disk->failEvery("rename", std::errc::permission_denied);
    map("m")->putInt("a", 1);
    map("m")->putInt("b", 2);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), "damaged");
    EXPECT_THAT(storeLines(), ElementsAre("could not set aside m.Harvelstone : Permission denied"));
    disk->heal();
    map("m")->save();
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1,"b":2})");
    EXPECT_EQ(machine.readFile("m.corrupt-1479259200.Harvelstone"), "damaged");
}

TEST_F(NamedMapTest, ReadsAgainWhatCouldNotBeReadOnce) {
    machine.writeFile("m.Harvelstone", R"({"a":1})");
    disk->failCall(1, std::errc::too_many_files_open);
    EXPECT_EQ(map("m")->get("a"), Value(1));
    EXPECT_THAT(storeLines(), ElementsAre("could not read m.Harvelstone : Too many open files"));
}

TEST_F(NamedMapTest, NeverWritesOverAFileThatCannotBeRead) {
    machine.writeFile("m.Harvelstone", R"({"a":1,"b":1})");
    disk->failEvery("read", std::errc::io_error);
    map("m")->putInt("b", 2);
    map("m")->save();
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1,"b":1})");
    EXPECT_EQ(map("m")->jsonString(), R"({"b":2})");
    disk->heal();
    map("m")->putInt("c", 3);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1,"b":2,"c":3})")
        << "what was put goes over the file's values";
    EXPECT_THAT(storeLines(), ElementsAre("could not read m.Harvelstone : Input/output error"));
}

TEST_F(NamedMapTest, KeepsItsValuesInMemoryWhileTheDiskIsFullAndLogsOnce) {
    map("m")->putInt("a", 1);
    disk->failEvery("append", std::errc::no_space_on_device);
    map("m")->putInt("b", 2);
    map("m")->putInt("c", 3);
    EXPECT_EQ(map("m")->jsonString(), R"({"a":1,"b":2,"c":3})");
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1})");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("m.Harvelstone")) << "half a file takes no space";
    EXPECT_THAT(storeLines(), ElementsAre("could not write m.Harvelstone : No space left on device"));
    disk->heal();
    map("m")->save();
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"a":1,"b":2,"c":3})");
}

TEST_F(NamedMapTest, LogsAFailureAgainAfterASuccess) {
    const auto line = "could not write m.Harvelstone : No space left on device";
    for (int round = 1; round <= 2; ++round) {
        disk->failEvery("append", std::errc::no_space_on_device);
        map("m")->putInt("a", round);
        disk->heal();
        map("m")->save();
    }
    EXPECT_THAT(storeLines(), ElementsAre(line, line));
}

/// Fails call 1, 2, 3, ... of two puts until they run through.
template <typename Check>
void forEveryFault(FaultyFileSystem& disk, FaultyFileSystem::Duration duration, Check check) {
    for (const auto error : {std::errc::no_space_on_device, std::errc::io_error, std::errc::permission_denied}) {
        bool hasFailed = true;
        for (std::size_t number = 1; hasFailed; ++number) {
            ASSERT_LT(number, 100U);
            disk.heal();
            disk.failCall(number, error, duration);
            SCOPED_TRACE("call " + std::to_string(number));
            hasFailed = check();
        }
    }
}

TEST_F(NamedMapTest, LosesNothingWhicheverCallFails) {
    int round = 0;
    for (const auto duration : {FaultyFileSystem::Duration::once, FaultyFileSystem::Duration::lasting})
        forEveryFault(*disk, duration, [&] {
            const auto name = "m" + std::to_string(++round);
            machine.writeFile(name + ".Harvelstone", R"({"a":1})");
            map(name)->putInt("b", 2);
            map(name)->putInt("c", 3);
            const bool hasFailed = disk->hasFailed();
            EXPECT_FALSE(map_format::readMapText(machine.readFile(name + ".Harvelstone")).values.empty());
            disk->heal();
            map(name)->save();
            EXPECT_EQ(machine.readFile(name + ".Harvelstone"), R"({"a":1,"b":2,"c":3})");
            return hasFailed;
        });
    RecordProperty("points", round);
}

TEST_F(NamedMapTest, HoldsTheOldOrTheNewStateWhereverItIsKilled) {
    bool wasKilled = true;
    for (std::size_t number = 1; wasKilled; ++number) {
        ASSERT_LT(number, 100U);
        machine.writeFile("m.Harvelstone", R"({"a":1})");
        machine.device->uuidText();  // the faked device begins its count afresh in each life
        const auto piece = [&] {
            disk->clear();
            disk->beforeCall = [&](std::size_t call) {
                if (call == number) dieHere();
            };
            map("m")->putInt("a", 2);
            machine.writeFile("done", "");
        };
        wasKilled = number <= 8;  // open, size, read, open, append, sync, rename, syncFolder
        wasKilled ? lifeUntilKilled(piece) : life(piece);
        const auto text = machine.readFile("m.Harvelstone");
        EXPECT_EQ(text, number <= 7 ? R"({"a":1})" : R"({"a":2})") << number;
    }
    EXPECT_THAT(machine.storedFiles(), ::testing::Contains("done"));
}

TEST_F(NamedMapTest, TakesPutsFromManyThreads) {
    constexpr int threadCount = 4;
    constexpr int putCount = 25;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back([thread] {
            for (int put = 0; put < putCount; ++put)
                map("m")->putInt(std::to_string(thread) + "-" + std::to_string(put), put);
        });
    for (auto& thread : threads) thread.join();
    const auto stored = nlohmann::json::parse(machine.readFile("m.Harvelstone"));
    EXPECT_EQ(stored.size(), std::size_t{threadCount * putCount});
    EXPECT_EQ(machine.readFile("m.Harvelstone"), map("m")->jsonString());
}

TEST_F(NamedMapTest, APutIsOnDiskWhenItReturnsWhoeverWroteIt) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            for (int put = 0; put < 25; ++put) {
                map("m")->putInt(std::to_string(thread), put);
                const auto stored = nlohmann::json::parse(machine.readFile("m.Harvelstone"));
                EXPECT_EQ(stored.at(std::to_string(thread)), put);
            }
        });
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace harvelstone::testing
