// What the file system in memory promises like the real one: each test runs on both.

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

#include "harvelstone/platform/FileSystem.hpp"

#include "tests/support/MemoryFileSystem.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::File;
using platform::OpenMode;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::chrono::milliseconds noWait{0};
constexpr std::chrono::minutes longWait{1};

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

struct RealDisk {
    TemporaryFolder temporary;
    std::string folder = temporary.path() + "/stored";
    platform::PosixFileSystem files;
};

struct DiskInMemory {
    std::string folder = "/documents/stored";
    MemoryFileSystem files{std::make_shared<FakeClock>()};
};

template <typename Disk>
class FileSystemContract : public ::testing::Test {
  protected:
    FileSystemContract() { EXPECT_TRUE(disk_.files.makeFolder(disk_.folder)); }

    platform::FileSystem& files() { return disk_.files; }
    const std::string& folder() const { return disk_.folder; }
    std::string path(const std::string& name) const { return disk_.folder + "/" + name; }

    std::unique_ptr<File> open(const std::string& name, OpenMode mode) {
        auto file = files().open(path(name), mode);
        EXPECT_TRUE(file) << file.error().message();
        return file ? *std::move(file) : nullptr;
    }
    std::error_code errorOfOpening(const std::string& name, OpenMode mode) {
        return files().open(path(name), mode).error();
    }
    void write(const std::string& name, std::string_view text) {
        EXPECT_TRUE(open(name, OpenMode::Create)->append(bytesOf(text)));
    }
    static std::string readAt(File& file, std::uint64_t offset, std::size_t size) {
        std::string text(size, '?');
        const auto count = file.read(std::as_writable_bytes(std::span(text)), offset);
        EXPECT_TRUE(count) << count.error().message();
        text.resize(count ? *count : 0);
        return text;
    }
    std::string content(const std::string& name) {
        const auto file = open(name, OpenMode::Read);
        return file ? readAt(*file, 0, 1000) : "no file";
    }

  private:
    Disk disk_;
};

using Disks = ::testing::Types<RealDisk, DiskInMemory>;
TYPED_TEST_SUITE(FileSystemContract, Disks);

TYPED_TEST(FileSystemContract, AFileIsReadAtAnOffsetAsFarAsItGoes) {
    this->write("a", "0123456789");
    const auto file = this->open("a", OpenMode::Read);
    EXPECT_EQ(this->readAt(*file, 0, 4), "0123");
    EXPECT_EQ(this->readAt(*file, 7, 100), "789");
    EXPECT_EQ(this->readAt(*file, 10, 100), "");
    EXPECT_EQ(this->readAt(*file, 1000, 1), "");
    EXPECT_EQ(*file->size(), 10U);
}

TYPED_TEST(FileSystemContract, AFileOpenedForReadingCannotBeWritten) {
    this->write("a", "x");
    const auto file = this->open("a", OpenMode::Read);
    EXPECT_EQ(file->append(bytesOf("y")).error(), std::errc::bad_file_descriptor);
    EXPECT_EQ(file->truncate(0).error(), std::errc::invalid_argument);
    EXPECT_EQ(this->content("a"), "x");
}

TYPED_TEST(FileSystemContract, AppendingGoesToTheEndThatAnotherLeft) {
    const auto one = this->open("a", OpenMode::Create);
    const auto other = this->open("a", OpenMode::Append);
    EXPECT_TRUE(one->append(bytesOf("1")));
    EXPECT_TRUE(other->append(bytesOf("2")));
    EXPECT_TRUE(one->append(bytesOf("3")));
    EXPECT_EQ(this->content("a"), "123");
}

TYPED_TEST(FileSystemContract, OpeningFindsWhatTheModeAsksFor) {
    EXPECT_EQ(this->errorOfOpening("a", OpenMode::Read), std::errc::no_such_file_or_directory);
    EXPECT_EQ(this->errorOfOpening("a", OpenMode::Append), std::errc::no_such_file_or_directory);
    EXPECT_EQ(this->errorOfOpening("none/a", OpenMode::Create), std::errc::no_such_file_or_directory);
    this->write("a", "kept");
    EXPECT_EQ(this->errorOfOpening("a", OpenMode::Create), std::errc::file_exists);
    EXPECT_EQ(this->content("a"), "kept");
}

TYPED_TEST(FileSystemContract, AFolderIsNoFile) {
    ASSERT_TRUE(this->files().makeFolder(this->path("inner")));
    EXPECT_EQ(this->errorOfOpening("inner", OpenMode::Read), std::errc::is_a_directory);
    EXPECT_EQ(this->errorOfOpening("inner", OpenMode::Append), std::errc::is_a_directory);
    this->write("a", "x");
    EXPECT_EQ(this->files().rename(this->path("a"), this->path("inner")).error(), std::errc::is_a_directory);
}

TYPED_TEST(FileSystemContract, TruncatingCutsOffTheEnd) {
    this->write("a", "0123456789");
    const auto file = this->open("a", OpenMode::Append);
    EXPECT_TRUE(file->truncate(4));
    EXPECT_TRUE(file->append(bytesOf("x")));
    EXPECT_EQ(this->content("a"), "0123x");
}

TYPED_TEST(FileSystemContract, RenamingReplacesWhatWasThere) {
    this->write("a", "new");
    this->write("b", "old");
    EXPECT_TRUE(this->files().rename(this->path("a"), this->path("b")));
    EXPECT_EQ(this->content("b"), "new");
    EXPECT_FALSE(this->files().exists(this->path("a")));
    EXPECT_EQ(this->files().rename(this->path("a"), this->path("c")).error(), std::errc::no_such_file_or_directory);
}

TYPED_TEST(FileSystemContract, ARemovedFileLivesOnForWhoeverHasItOpen) {
    this->write("a", "old");
    const auto file = this->open("a", OpenMode::Append);
    EXPECT_TRUE(this->files().remove(this->path("a")));
    EXPECT_EQ(this->files().remove(this->path("a")).error(), std::errc::no_such_file_or_directory);
    this->write("a", "new");
    EXPECT_TRUE(file->append(bytesOf("er")));
    EXPECT_EQ(this->readAt(*file, 0, 10), "older");
    EXPECT_EQ(this->content("a"), "new");
}

TYPED_TEST(FileSystemContract, AFolderListsItsEntries) {
    EXPECT_THAT(*this->files().list(this->folder() + "/"), IsEmpty());
    this->write("a", "x");
    ASSERT_TRUE(this->files().makeFolder(this->path("inner/deep")));
    EXPECT_THAT(*this->files().list(this->folder() + "/"), UnorderedElementsAre("a", "inner"));
    EXPECT_EQ(this->files().list(this->path("none")).error(), std::errc::no_such_file_or_directory);
}

TYPED_TEST(FileSystemContract, AnEntryIsDeletableWhereItsFolderIs) {
    EXPECT_TRUE(this->files().isDeletable(this->path("none")));
    EXPECT_FALSE(this->files().isDeletable(this->path("none/a")));
}

TYPED_TEST(FileSystemContract, EachFileHasItsDateAndSize) {
    this->write("a", "12345");
    const auto attributes = this->files().attributes(this->path("a"));
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->size, 5U);
    EXPECT_GT(attributes->modificationDate, 1'400'000'000);
    EXPECT_EQ(this->files().attributes(this->path("b")).error(), std::errc::no_such_file_or_directory);
}

TYPED_TEST(FileSystemContract, ALockKeepsEveryOtherHolderOut) {
    const auto first = this->open("a", OpenMode::Create);
    const auto second = this->open("a", OpenMode::Append);
    ASSERT_TRUE(first->lock(noWait));
    ASSERT_TRUE(first->lock(noWait));
    std::thread other([&] {
        EXPECT_TRUE(second->lock(longWait));
        EXPECT_TRUE(second->append(bytesOf("2")));
    });
    EXPECT_TRUE(first->append(bytesOf("1")));
    EXPECT_TRUE(first->unlock());
    other.join();
    EXPECT_EQ(this->content("a"), "12");
}

TYPED_TEST(FileSystemContract, ALockThatIsHeldIsWaitedForOnlySoLong) {
    const auto first = this->open("a", OpenMode::Create);
    const auto second = this->open("a", OpenMode::Append);
    ASSERT_TRUE(first->lock(noWait));
    EXPECT_EQ(second->lock(noWait).error(), std::errc::device_or_resource_busy);
    EXPECT_EQ(second->lock(std::chrono::milliseconds(5)).error(), std::errc::device_or_resource_busy);
}

TYPED_TEST(FileSystemContract, AFileThatAHolderBeforeHasRemovedIsNotLocked) {
    const auto remover = this->open("a", OpenMode::Create);
    const auto other = this->open("a", OpenMode::Append);
    ASSERT_TRUE(remover->lock(noWait));
    ASSERT_TRUE(this->files().remove(this->path("a")));
    ASSERT_TRUE(remover->unlock());
    EXPECT_EQ(other->lock(noWait).error(), std::errc::no_such_file_or_directory);
}

TYPED_TEST(FileSystemContract, AFileTellsHowMuchWasAppendedLast) {
    const auto file = this->open("a", OpenMode::Create);
    EXPECT_EQ(file->lastAppended(), 0U);
    ASSERT_TRUE(file->append(bytesOf("abc")));
    EXPECT_EQ(file->lastAppended(), 3U);
    ASSERT_TRUE(file->append(bytesOf("de")));
    EXPECT_EQ(file->lastAppended(), 2U);
    const auto reading = this->open("a", OpenMode::Read);
    EXPECT_FALSE(reading->append(bytesOf("f")));
    EXPECT_EQ(reading->lastAppended(), 0U);
}

TYPED_TEST(FileSystemContract, ClosingGivesTheLockBack) {
    auto first = this->open("a", OpenMode::Create);
    const auto second = this->open("a", OpenMode::Append);
    ASSERT_TRUE(first->lock(noWait));
    first.reset();
    EXPECT_TRUE(second->lock(noWait));
}

TYPED_TEST(FileSystemContract, AFolderCanBeSynced) {
    EXPECT_TRUE(this->files().syncFolder(this->folder() + "/"));
    EXPECT_EQ(this->files().syncFolder(this->path("none")).error(), std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace harvelstone::testing
