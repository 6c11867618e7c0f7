#include <array>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <signal.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/platform/FileSystem.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::File;
using platform::OpenMode;
using ::testing::UnorderedElementsAre;

constexpr std::chrono::milliseconds noWait{0};

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

class PosixFiles : public ::testing::Test {
  protected:
    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
    void write(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
    std::string content(const std::string& name) const {
        std::ifstream file(path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::unique_ptr<File> open(const std::string& name, OpenMode mode) {
        auto file = files_.open(path(name), mode);
        EXPECT_TRUE(file) << file.error().message();
        return file ? *std::move(file) : nullptr;
    }
    std::error_code errorOfOpening(const std::string& name, OpenMode mode) {
        return files_.open(path(name), mode).error();
    }
    static std::string readAt(File& file, std::uint64_t offset, std::size_t size) {
        std::string text(size, '?');
        const auto count = file.read(std::as_writable_bytes(std::span(text)), offset);
        EXPECT_TRUE(count) << count.error().message();
        text.resize(count ? *count : 0);
        return text;
    }
    mode_t modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(stat(path(name).c_str(), &status), 0);
        return status.st_mode & 0777U;
    }

    TemporaryFolder folder_;
    platform::PosixFileSystem files_;
};

TEST_F(PosixFiles, AreReadAtAnOffsetAsFarAsTheyGo) {
    write("a", "0123456789");
    const auto file = open("a", OpenMode::Read);
    EXPECT_EQ(readAt(*file, 0, 4), "0123");
    EXPECT_EQ(readAt(*file, 7, 100), "789");
    EXPECT_EQ(readAt(*file, 10, 100), "");
    EXPECT_EQ(readAt(*file, 1000, 1), "");
    EXPECT_EQ(*file->size(), 10U);
}

TEST_F(PosixFiles, OpenedForReadingCannotBeWritten) {
    write("a", "x");
    const auto file = open("a", OpenMode::Read);
    EXPECT_EQ(file->append(bytesOf("y")).error(), std::errc::bad_file_descriptor);
    EXPECT_EQ(content("a"), "x");
}

TEST_F(PosixFiles, AreReadAndAppendedTo) {
    write("a", "begin-");
    const auto file = open("a", OpenMode::Append);
    EXPECT_TRUE(file->append(bytesOf("middle-")));
    EXPECT_TRUE(file->append(bytesOf("")));
    EXPECT_EQ(readAt(*file, 0, 100), "begin-middle-");
    EXPECT_TRUE(file->append(bytesOf("end")));
    EXPECT_EQ(content("a"), "begin-middle-end");
}

TEST_F(PosixFiles, AreAppendedToAtTheEndThatAnotherLeft) {
    const auto one = open("a", OpenMode::Create);
    const auto other = open("a", OpenMode::Append);
    EXPECT_TRUE(one->append(bytesOf("1")));
    EXPECT_TRUE(other->append(bytesOf("2")));
    EXPECT_TRUE(one->append(bytesOf("3")));
    EXPECT_EQ(content("a"), "123");
}

TEST_F(PosixFiles, MustExistForReadingAndAppending) {
    EXPECT_EQ(errorOfOpening("a", OpenMode::Read), std::errc::no_such_file_or_directory);
    EXPECT_EQ(errorOfOpening("a", OpenMode::Append), std::errc::no_such_file_or_directory);
    EXPECT_FALSE(files_.exists(path("a")));
}

TEST_F(PosixFiles, MustNotExistToBeCreated) {
    write("a", "kept");
    EXPECT_EQ(errorOfOpening("a", OpenMode::Create), std::errc::file_exists);
    EXPECT_EQ(content("a"), "kept");
}

TEST_F(PosixFiles, AreForTheUserAlone) {
    open("created", OpenMode::Create);
    EXPECT_EQ(modeOf("created"), 0600U);
}

TEST_F(PosixFiles, AreCutOffAndGoOnFromThere) {
    write("a", "0123456789");
    const auto file = open("a", OpenMode::Append);
    EXPECT_TRUE(file->truncate(4));
    EXPECT_TRUE(file->append(bytesOf("x")));
    EXPECT_TRUE(file->sync());
    EXPECT_EQ(content("a"), "0123x");
}

TEST_F(PosixFiles, AreNotReachedThroughALink) {
    write("target", "kept");
    std::filesystem::create_symlink(path("target"), path("link"));
    for (const auto mode : {OpenMode::Read, OpenMode::Append}) {
        EXPECT_EQ(errorOfOpening("link", mode), std::errc::too_many_symbolic_link_levels);
    }
    EXPECT_EQ(errorOfOpening("link", OpenMode::Create), std::errc::file_exists);
    EXPECT_EQ(content("target"), "kept");
}

TEST_F(PosixFiles, AreNeitherPipesNorFolders) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    std::filesystem::create_directory(path("folder"));
    for (const auto mode : {OpenMode::Read, OpenMode::Append}) {
        EXPECT_EQ(errorOfOpening("pipe", mode), std::errc::not_supported) << "and nobody was waited for";
        EXPECT_EQ(errorOfOpening("folder", mode), std::errc::is_a_directory);
    }
}

TEST_F(PosixFiles, AreNotPassedOnToPrograms) {
    open("a", OpenMode::Create);
    const auto file = open("a", OpenMode::Read);
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) != path("a")) continue;
        ++found;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(found, 1) << "the first file was closed with its object";
}

TEST_F(PosixFiles, AreLockedAgainstAnotherHolder) {
    const auto one = open("a", OpenMode::Create);
    const auto other = open("a", OpenMode::Append);
    ASSERT_TRUE(one->lock(noWait));
    std::promise<void> isLocked;
    std::thread waiting([&] {
        EXPECT_TRUE(other->lock(std::chrono::seconds(20)));
        isLocked.set_value();
    });
    auto future = isLocked.get_future();
    EXPECT_EQ(future.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_TRUE(one->unlock());
    EXPECT_EQ(future.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    waiting.join();
}

TEST_F(PosixFiles, ThatStayLockedAreNotWaitedForLongerThanWanted) {
    const auto one = open("a", OpenMode::Create);
    const auto other = open("a", OpenMode::Append);
    ASSERT_TRUE(one->lock(noWait));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(other->lock(std::chrono::milliseconds(30)).error(), std::errc::device_or_resource_busy);

    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_EQ(other->lock(noWait).error(), std::errc::device_or_resource_busy);
    EXPECT_TRUE(one->lock(noWait)) << "who has it gets it again";
    EXPECT_TRUE(one->unlock());
    EXPECT_TRUE(other->lock(noWait));
}

TEST_F(PosixFiles, StayLockedWhileASignalInterruptsTheWait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);  // without SA_RESTART: system calls give EINTR
    const auto one = open("a", OpenMode::Create);
    const auto other = open("a", OpenMode::Append);
    ASSERT_TRUE(one->lock(noWait));
    std::promise<bool> outcome;
    std::thread waiting([&] { outcome.set_value(other->lock(std::chrono::seconds(20)).ok()); });
    auto future = outcome.get_future();
    for (int i = 0; i < 20; ++i) {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        EXPECT_EQ(future.wait_for(std::chrono::milliseconds(2)), std::future_status::timeout);
    }
    EXPECT_TRUE(one->unlock());
    waiting.join();
    EXPECT_TRUE(future.get());
}

TEST_F(PosixFiles, ThatAreFullGiveTheError) {
    platform::PosixFileSystem files;
    const rlimit small{.rlim_cur = 4096, .rlim_max = RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto file = open("a", OpenMode::Create);

    EXPECT_EQ(file->append(bytesOf(std::string(5000, 'x'))).error(), std::errc::file_too_large);

    EXPECT_EQ(*file->size(), 4096U) << "the first, short write was gone on with";
    EXPECT_EQ(file->lastAppended(), 4096U);
}

TEST_F(PosixFiles, AreRenamedOverOthers) {
    write("a", "new");
    write("b", "old");
    EXPECT_TRUE(files_.rename(path("a"), path("b")));
    EXPECT_EQ(content("b"), "new");
    EXPECT_FALSE(files_.exists(path("a")));
    EXPECT_EQ(files_.rename(path("a"), path("b")).error(), std::errc::no_such_file_or_directory);
}

TEST_F(PosixFiles, AreRemoved) {
    write("a", "x");
    EXPECT_TRUE(files_.remove(path("a")));
    EXPECT_FALSE(files_.exists(path("a")));
    EXPECT_EQ(files_.remove(path("a")).error(), std::errc::no_such_file_or_directory);
}

TEST_F(PosixFiles, AreRemovedWithTheFolderTheyLieIn) {
    write("outside", "kept");
    std::filesystem::create_directories(path("folder/inner"));
    write("folder/inner/a", "x");
    std::filesystem::create_symlink(path("outside"), path("folder/link"));
    EXPECT_TRUE(files_.remove(path("folder")));
    EXPECT_FALSE(files_.exists(path("folder")));
    EXPECT_EQ(content("outside"), "kept");
}

TEST_F(PosixFiles, AreRemovedAsLinksAndNotAsWhatTheyLeadTo) {
    std::filesystem::create_directory(path("target"));
    std::filesystem::create_directory_symlink(path("target"), path("link"));
    EXPECT_TRUE(files_.remove(path("link")));
    EXPECT_TRUE(files_.exists(path("target")));
}

TEST_F(PosixFiles, AreListedByName) {
    EXPECT_THAT(*files_.list(folder_.path()), ::testing::IsEmpty());
    write("a", "");
    write(".b", "");
    std::filesystem::create_directory(path("c"));
    EXPECT_THAT(*files_.list(folder_.path() + "/"), UnorderedElementsAre("a", ".b", "c"));
    EXPECT_EQ(files_.list(path("none")).error(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(files_.list(path("a")).error(), std::errc::not_a_directory);
}

TEST_F(PosixFiles, TellTheirSizeAndAgeToAFractionOfASecond) {
    write("a", "12345");
    const std::array<timeval, 2> times{{{0, 0}, {1'500'000'000, 250'000}}};
    ASSERT_EQ(utimes(path("a").c_str(), times.data()), 0);
    const auto attributes = files_.attributes(path("a"));
    EXPECT_EQ(attributes->size, 5U);
    EXPECT_DOUBLE_EQ(attributes->modificationDate, 1'500'000'000.25);
    EXPECT_EQ(files_.attributes(path("none")).error(), std::errc::no_such_file_or_directory);
}

TEST_F(PosixFiles, ExistEvenAsALinkThatLeadsNowhere) {
    std::filesystem::create_symlink(path("none"), path("link"));
    EXPECT_TRUE(files_.exists(path("link")));
    EXPECT_FALSE(files_.exists(path("none")));
    EXPECT_TRUE(files_.attributes(path("link")));
}

TEST_F(PosixFiles, AreDeletableWhereTheFolderIsThereEvenIfTheyAreNot) {
    write("a", "");
    EXPECT_TRUE(files_.isDeletable(path("a")));
    EXPECT_TRUE(files_.isDeletable(path("none")));
    EXPECT_TRUE(files_.isDeletable(folder_.path() + "/"));
    EXPECT_FALSE(files_.isDeletable(path("none/a")));
    EXPECT_FALSE(files_.isDeletable(path("a/b"))) << "the parent is no folder";
    EXPECT_FALSE(files_.isDeletable(""));
}

TEST_F(PosixFiles, AreNotDeletableInAFolderThatMayNotBeWritten) {
    ASSERT_EQ(chmod(folder_.path().c_str(), 0500), 0);
    const bool isRoot = geteuid() == 0;  // who may write everywhere, and so tries it as nobody
    if (isRoot) {
        ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
        ASSERT_EQ(seteuid(65534), 0);
    }
    EXPECT_FALSE(files_.isDeletable(path("a")));
    if (isRoot) {
        ASSERT_EQ(seteuid(0), 0);
    }
    ASSERT_EQ(chmod(folder_.path().c_str(), 0700), 0);
    EXPECT_TRUE(files_.isDeletable(path("a")));
}

TEST_F(PosixFiles, LieInFoldersMadeWithTheirParentsForTheUserAlone) {
    EXPECT_TRUE(files_.makeFolder(path("a/b//c/")));
    EXPECT_TRUE(files_.makeFolder(path("a/b/c")));
    for (const char* name : {"a", "a/b", "a/b/c"}) EXPECT_EQ(modeOf(name), 0700U) << name;
    EXPECT_TRUE(files_.syncFolder(path("a/b/c")));
}

TEST_F(PosixFiles, MakeNoFolderWhereAFileStands) {
    write("a", "x");
    EXPECT_EQ(files_.makeFolder(path("a")).error(), std::errc::not_a_directory);
    EXPECT_EQ(files_.makeFolder(path("a/b")).error(), std::errc::not_a_directory);
    EXPECT_EQ(files_.makeFolder("").error(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(content("a"), "x");
}

TEST_F(PosixFiles, MakeAFolderBelowOneThatMayNotBeWritten) {
    EXPECT_TRUE(files_.makeFolder("/proc/self"));
    EXPECT_TRUE(files_.makeFolder("/"));
}

TEST_F(PosixFiles, SyncOnlyFolders) {
    write("a", "x");
    EXPECT_TRUE(files_.syncFolder(folder_.path()));
    EXPECT_EQ(files_.syncFolder(path("a")).error(), std::errc::not_a_directory);
    EXPECT_EQ(files_.syncFolder(path("none")).error(), std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace harvelstone::testing
