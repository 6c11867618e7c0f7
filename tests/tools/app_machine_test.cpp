#include "tools/app_machine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::tools {

namespace {

using platform::OpenMode;

class ShiftedFiles : public ::testing::Test {
  protected:
    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

    void write(const std::string& name, OpenMode mode = OpenMode::Create) {
        auto file = files_.open(path(name), mode);
        ASSERT_TRUE(file);
        ASSERT_TRUE((*file)->append(std::as_bytes(std::span("x", 1))));
    }

    /// The file's age by the shifted clock, in whole hours.
    long hoursOld(const std::string& name) {
        const auto attributes = files_.attributes(path(name));
        EXPECT_TRUE(attributes);
        return std::lround((clock_->now() - attributes->modificationDate) / 3600);
    }

    void hoursPass(double hours) { clock_->advance(hours * 3600); }

    testing::TemporaryFolder folder_;
    std::shared_ptr<ShiftedClock> clock_ = std::make_shared<ShiftedClock>();
    ShiftedFileSystem files_{clock_};
};

TEST_F(ShiftedFiles, AFileAgesWithTheShiftedClock) {
    write("a");
    EXPECT_EQ(hoursOld("a"), 0);
    hoursPass(5);
    EXPECT_EQ(hoursOld("a"), 5);
}

TEST_F(ShiftedFiles, AFileWrittenAfterAShiftIsNew) {
    hoursPass(5);
    write("a");
    EXPECT_EQ(hoursOld("a"), 0);
}

TEST_F(ShiftedFiles, AppendingMakesAFileNew) {
    write("a");
    hoursPass(5);
    write("a", OpenMode::Append);
    EXPECT_EQ(hoursOld("a"), 0);
}

TEST_F(ShiftedFiles, OpeningAloneDoesNotMakeAFileNew) {
    write("a");
    hoursPass(5);
    ASSERT_TRUE(files_.open(path("a"), OpenMode::Append));
    ASSERT_TRUE(files_.open(path("a"), OpenMode::Read));
    EXPECT_EQ(hoursOld("a"), 5);
}

TEST_F(ShiftedFiles, AppendingThroughAFileOpenedEarlierMakesItNew) {
    write("a");
    auto file = files_.open(path("a"), OpenMode::Append);
    ASSERT_TRUE(file);
    hoursPass(5);
    ASSERT_TRUE((*file)->append(std::as_bytes(std::span("y", 1))));
    EXPECT_EQ(hoursOld("a"), 0);
}

TEST_F(ShiftedFiles, TruncatingMakesAFileNew) {
    write("a");
    auto file = files_.open(path("a"), OpenMode::Append);
    ASSERT_TRUE(file);
    hoursPass(5);
    ASSERT_TRUE((*file)->truncate(0));
    EXPECT_EQ(hoursOld("a"), 0);
}

TEST_F(ShiftedFiles, ARenamedFileKeepsItsAge) {
    hoursPass(5);
    write("a");
    write("b");
    hoursPass(2);
    ASSERT_TRUE(files_.rename(path("a"), path("b")));
    EXPECT_EQ(hoursOld("b"), 2);
}

TEST_F(ShiftedFiles, AFileOfAnEarlierRunIsAsOldAsItIs) {
    ASSERT_TRUE(platform::PosixFileSystem().open(path("a"), OpenMode::Create));
    hoursPass(5);
    EXPECT_EQ(hoursOld("a"), 5);
}

TEST_F(ShiftedFiles, ARemovedFileIsForgotten) {
    hoursPass(5);
    write("a");
    ASSERT_TRUE(files_.remove(path("a")));
    ASSERT_TRUE(platform::PosixFileSystem().open(path("a"), OpenMode::Create));
    EXPECT_EQ(hoursOld("a"), 5);
}

TEST_F(ShiftedFiles, ErrorsPassThrough) {
    EXPECT_FALSE(files_.open(path("none"), OpenMode::Append));
    EXPECT_FALSE(files_.rename(path("none"), path("b")));
    EXPECT_FALSE(files_.remove(path("none")));
    EXPECT_FALSE(files_.attributes(path("none")));
}

TEST(AppDevice, HasTheGivenDocumentsFolderWithoutLastSlash) {
    EXPECT_THAT(AppDevice("/somewhere//").documentsDirectories(), ::testing::ElementsAre("/somewhere"));
    EXPECT_THAT(AppDevice("here").documentsDirectories(), ::testing::ElementsAre("here"));
    EXPECT_THAT(AppDevice("/").documentsDirectories(), ::testing::ElementsAre("/"));
}

TEST(AppDevice, IsConnectedUntilSwitchedOff) {
    AppDevice device("/somewhere");
    EXPECT_TRUE(device.isConnectedToNetwork());
    EXPECT_EQ(device.connectionType(), "wifi");
    device.setConnected(false);
    EXPECT_FALSE(device.isConnectedToNetwork());
    EXPECT_EQ(device.connectionType(), "none");
}

TEST(AppLog, HandsLinesOverAsTheyAre) {
    std::vector<std::string> debugLines;
    std::vector<std::string> platformLines;
    AppLog log([&](std::string_view line) { debugLines.emplace_back(line); },
               [&](std::string_view line) { platformLines.emplace_back(line); });
    log.debugLine("a line with a blank ");
    log.platformLine("another");
    EXPECT_THAT(debugLines, ::testing::ElementsAre("a line with a blank "));
    EXPECT_THAT(platformLines, ::testing::ElementsAre("another"));
}

TEST(AppLog, AFailingTakerHarmsNobody) {
    const auto fail = [](std::string_view) { throw std::runtime_error("full"); };
    AppLog log(fail, fail);
    log.debugLine("line");
    log.platformLine("line");
}

}  // namespace

}  // namespace harvelstone::tools
