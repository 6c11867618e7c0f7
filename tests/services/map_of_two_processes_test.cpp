#include <sys/wait.h>
#include <unistd.h>

#include "harvelstone/services/map_format.hpp"

#include "tests/services/StorageTest.hpp"

/// One map that two processes commit at once: each commit is whole, the later one wins.
namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MapOfTwoProcesses : public StorageTest {
  protected:
    /// Commits the map again and again; how often its file was not whole afterwards.
    static int commitOften(const std::string& key) {
        constexpr int rounds = 300;
        int torn = 0;
        for (int round = 0; round < rounds; ++round) {
            map("m")->putString(key, std::string(1 + static_cast<std::size_t>(round) % 100, 'x'));
            const auto contents = map_format::readMapFile(storedFilePath("m"));
            if (!contents || !contents->damage.empty()) ++torn;
        }
        return torn;
    }
};

TEST_F(MapOfTwoProcesses, IsWholeWhenOneCommitsInTheMiddleOfTheOthersCommit) {
    bool hasCommitted = false;
    disk->beforeCall = [&](std::size_t) {
        if (!disk->calls().back().starts_with("append") || std::exchange(hasCommitted, true)) return;
        life([&] {
            map("m")->putInt("child", 1);
            map("m")->save();
            EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"child":1})");
        });
    };
    map("m")->putInt("parent", 1);

    EXPECT_TRUE(hasCommitted);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"parent":1})");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("m.Harvelstone"));
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(MapOfTwoProcesses, IsWholeAfterEachOfManyCommits) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    const auto child = fork();
    if (child == 0) {
        machine.device->uuidText();  // the faked device begins its count afresh in each process
        const int torn = commitOften("child");
        _exit(torn == 0 && storeLines().empty() ? 0 : 1);
    }
    EXPECT_EQ(commitOften("parent"), 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    EXPECT_THAT(machine.storedFiles(), ElementsAre("m.Harvelstone"));
    EXPECT_THAT(storeLines(), IsEmpty());
}

}  // namespace
}  // namespace harvelstone::testing
