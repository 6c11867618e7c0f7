// The faked machine and the folder that it stores into.

#include "tests/support/TestPlatform.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include "harvelstone/platform/Json.hpp"

namespace harvelstone {

void PrintTo(const Value& value, std::ostream* stream) { *stream << platform::jsonText(value); }

}  // namespace harvelstone

namespace harvelstone::testing {
namespace {

std::string newFolder() {
    auto path = (std::filesystem::temp_directory_path() / "harvelstone-test-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path);
    return path;
}

void removeFolder(const std::string& path) {
    std::error_code ignored;  // a test may have taken the right to remove entries away
    std::filesystem::remove_all(path, ignored);
}

timespec timeOf(double secondsSince1970) {
    constexpr double nanoseconds = 1e9;
    const auto whole = std::floor(secondsSince1970);
    return {.tv_sec = static_cast<std::time_t>(whole),
            .tv_nsec = static_cast<long>((secondsSince1970 - whole) * nanoseconds)};
}

}  // namespace

TestPlatform::TestPlatform() : TestPlatform(newFolder()) { ownsDocuments_ = true; }

TestPlatform::TestPlatform(std::string documentsFolder)
    : documents(std::move(documentsFolder)),
      folder(documents + "/harvelstone/"),
      clock(std::make_shared<FakeClock>()),
      fileSystem(std::make_shared<platform::PosixFileSystem>()),
      http(std::make_shared<FakeHttpClient>()),
      mainQueue(std::make_shared<ManualRunLoop>()),
      workers(std::make_shared<ManualWorkers>()),
      device(std::make_shared<FakeDevice>(documents)),
      log(std::make_shared<RecordingLog>()) {
    platform::Platform::install({.clock = clock,
                                 .fileSystem = fileSystem,
                                 .httpClient = http,
                                 .mainQueue = mainQueue,
                                 .workers = workers,
                                 .device = device,
                                 .log = log,
                                 .syncPolicy = platform::SyncPolicy::processExit});
}

TestPlatform::~TestPlatform() {
    if (ownsDocuments_) removeFolder(documents);
}

void TestPlatform::setSyncPolicy(platform::SyncPolicy policy) { platform::Platform::current().syncPolicy = policy; }

void TestPlatform::setFileSystem(std::shared_ptr<platform::FileSystem> replacement) {
    fileSystem = std::move(replacement);
    platform::Platform::current().fileSystem = fileSystem;
}

std::vector<std::string> TestPlatform::storedFiles() const {
    std::vector<std::string> names;
    std::error_code isMissing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, isMissing))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void TestPlatform::writeFile(const std::string& name, std::string_view content) const {
    std::filesystem::create_directories(folder);
    std::ofstream file(folder + name, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) throw std::runtime_error("cannot write " + folder + name);
}

std::string TestPlatform::readFile(const std::string& name) const {
    std::ifstream file(folder + name, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + folder + name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void TestPlatform::setFileAge(const std::string& name, double seconds) const {
    const auto time = timeOf(clock->now() - seconds);
    const std::array<timespec, 2> accessAndModification{time, time};
    const auto path = folder + name;
    if (utimensat(AT_FDCWD, path.c_str(), accessAndModification.data(), /*flags=*/0) != 0)
        throw std::system_error(errno, std::generic_category(), path);
}

TemporaryFolder::TemporaryFolder() : path_(newFolder()) {}

TemporaryFolder::~TemporaryFolder() { removeFolder(path_); }

}  // namespace harvelstone::testing
