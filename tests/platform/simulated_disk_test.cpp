// What a loss of power leaves of a disk in memory, and what its file system tells about the calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>

#include "tests/support/MemoryFileSystem.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::File;
using platform::OpenMode;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Data = PowerLoss::Data;
using Entries = PowerLoss::Entries;

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

class SimulatedDiskTest : public ::testing::Test {
  protected:
    SimulatedDiskTest() {
        EXPECT_TRUE(files.makeFolder("/d"));
        EXPECT_TRUE(files.syncFolder("/"));
    }

    std::unique_ptr<File> written(const std::string& path, std::string_view text) {
        auto file = *files.open(path, OpenMode::Create);
        EXPECT_TRUE(file->append(bytesOf(text)));
        return file;
    }
    std::unique_ptr<File> durable(const std::string& path, std::string_view text) {
        auto file = written(path, text);
        EXPECT_TRUE(file->sync());
        EXPECT_TRUE(files.syncFolder("/d"));
        return file;
    }
    /// Every content that the file may have, tried with many seeds.
    std::set<std::string> contents(const std::string& path, Data data) const {
        std::set<std::string> found;
        for (std::uint64_t seed = 0; seed < 300; ++seed)
            found.insert(files.afterPowerLoss({.entries = Entries::kept, .data = data, .seed = seed}).content(path));
        return found;
    }
    std::set<std::set<std::string>> names(Entries entries) const {
        std::set<std::set<std::string>> found;
        for (std::uint64_t seed = 0; seed < 300; ++seed) {
            std::set<std::string> paths;
            const auto image = files.afterPowerLoss({.entries = entries, .data = Data::kept, .seed = seed});
            for (const auto& [path, file] : image.files) paths.insert(path);
            found.insert(paths);
        }
        return found;
    }

    MemoryFileSystem files{std::make_shared<FakeClock>()};
};

TEST_F(SimulatedDiskTest, AfterTheDeathOfTheProcessAllIsThere) {
    written("/d/a", "text");
    EXPECT_EQ(files.image().content("/d/a"), "text");
}

TEST_F(SimulatedDiskTest, WhatWasSyncedOutlivesALossOfPower) {
    durable("/d/a", "text");
    EXPECT_EQ(files.afterPowerLoss({}).content("/d/a"), "text");
}

TEST_F(SimulatedDiskTest, AFileWithoutAnEntryIsLost) {
    EXPECT_TRUE(written("/d/a", "text")->sync());
    EXPECT_THAT(files.afterPowerLoss({.entries = Entries::lost, .data = Data::kept}).files, IsEmpty());
}

TEST_F(SimulatedDiskTest, AnUnsyncedAppendMayBeLostOrTornOrWhole) {
    const auto file = durable("/d/a", "1");
    EXPECT_TRUE(file->append(bytesOf("23")));
    EXPECT_THAT(contents("/d/a", Data::lost), ElementsAre("1"));
    EXPECT_THAT(contents("/d/a", Data::kept), ElementsAre("123"));
    EXPECT_THAT(contents("/d/a", Data::torn), ElementsAre("1", "12", "123"));
}

TEST_F(SimulatedDiskTest, AnUnsyncedAppendMayBeZeros) {
    using namespace std::string_literals;
    const auto file = durable("/d/a", "1");
    EXPECT_TRUE(file->append(bytesOf("23")));
    EXPECT_THAT(contents("/d/a", Data::zeros), ElementsAre("1", "1\0"s, "1\0\0"s, "12", "12\0"s, "123"));
    EXPECT_TRUE(file->append(bytesOf("4")));
    EXPECT_THAT(contents("/d/a", Data::hole), ElementsAre("1\0\0"
                                                          "4"s,
                                                          "123\0"s));
}

TEST_F(SimulatedDiskTest, AnUnsyncedTruncationMayBeLost) {
    const auto file = durable("/d/a", "123");
    EXPECT_TRUE(file->truncate(0));
    EXPECT_TRUE(file->append(bytesOf("x")));
    EXPECT_THAT(contents("/d/a", Data::lost), ElementsAre("123"));
    EXPECT_THAT(contents("/d/a", Data::torn), ElementsAre("", "123", "x"));
    EXPECT_THAT(contents("/d/a", Data::any), Contains("x"));
}

TEST_F(SimulatedDiskTest, AnUnsyncedRenamingIsWholeOrLost) {
    durable("/d/a", "old");
    EXPECT_TRUE(written("/d/t", "new")->sync());
    EXPECT_TRUE(files.rename("/d/t", "/d/a"));
    EXPECT_EQ(files.afterPowerLoss({}).content("/d/a"), "old");
    EXPECT_THAT(names(Entries::kept), ElementsAre(ElementsAre("/d/a")));
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const auto image = files.afterPowerLoss({.entries = Entries::anySubset, .data = Data::lost, .seed = seed});
        EXPECT_TRUE(image.content("/d/a") == "old" || image.content("/d/a") == "new");
    }
}

TEST_F(SimulatedDiskTest, EntriesAreLostInOrderOrInAny) {
    written("/d/a", "");
    written("/d/b", "");
    using Names = std::set<std::string>;
    EXPECT_THAT(names(Entries::prefix), ElementsAre(Names{}, Names{"/d/a"}, Names{"/d/a", "/d/b"}));
    EXPECT_THAT(names(Entries::anySubset), ElementsAre(Names{}, Names{"/d/a"}, Names{"/d/a", "/d/b"}, Names{"/d/b"}));
}

TEST_F(SimulatedDiskTest, ARemovalThatWasNotSyncedMayComeUndone) {
    durable("/d/a", "text");
    EXPECT_TRUE(files.remove("/d/a"));
    EXPECT_EQ(files.afterPowerLoss({}).content("/d/a"), "text");
    EXPECT_TRUE(files.syncFolder("/d/"));
    EXPECT_THAT(files.afterPowerLoss({}).files, IsEmpty());
}

TEST_F(SimulatedDiskTest, TheSameStepsLeadToTheSameDisk) {
    durable("/d/a", "text");
    written("/d/b", "more");
    SimulatedDisk copy;
    for (const auto& step : files.steps()) copy.apply(step);
    EXPECT_EQ(copy.image(), files.image());
    EXPECT_EQ(copy.afterPowerLoss({}), files.afterPowerLoss({}));
}

TEST_F(SimulatedDiskTest, ADiskBeginsWithWhatAnotherHeld) {
    durable("/d/a", "text");
    const MemoryFileSystem next(std::make_shared<FakeClock>(), files.image());
    EXPECT_EQ(next.image(), files.image());
    EXPECT_EQ(next.afterPowerLoss({}), files.image());
}

// ---- Calls ----

TEST_F(SimulatedDiskTest, EachCallIsWrittenDown) {
    const auto before = files.callCount();
    written("/d/a", "text");
    std::vector<std::string> texts;
    for (const auto& call : files.calls())
        if (call.number > before) texts.push_back(call.text());
    EXPECT_THAT(texts, ElementsAre("open a", "append a"));
}

TEST_F(SimulatedDiskTest, ACallCanBeMadeToFail) {
    const auto file = written("/d/a", "text");
    files.onCall = [](const DiskCall& call) -> std::optional<DiskFault> {
        if (call.name != "append") return std::nullopt;
        return DiskFault{.error = std::make_error_code(std::errc::no_space_on_device), .bytesWritten = 2};
    };
    EXPECT_EQ(file->append(bytesOf("more")).error(), std::errc::no_space_on_device);
    EXPECT_EQ(files.image().content("/d/a"), "textmo");
    EXPECT_TRUE(file->sync());
}

TEST_F(SimulatedDiskTest, ACallThatEndsTheProcessHasNotHappened) {
    struct Stop {};
    files.onCall = [](const DiskCall&) -> std::optional<DiskFault> { throw Stop(); };
    EXPECT_THROW(static_cast<void>(files.open("/d/a", OpenMode::Create)), Stop);
    EXPECT_THAT(files.image().files, IsEmpty());
}

TEST_F(SimulatedDiskTest, EachChangeHasADateOfItsOwn) {
    written("/d/a", "1");
    written("/d/b", "1");
    EXPECT_LT(files.attributes("/d/a")->modificationDate, files.attributes("/d/b")->modificationDate);
}

}  // namespace
}  // namespace harvelstone::testing
