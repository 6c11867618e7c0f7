// The platform's file interface over a disk in memory.

#include "tests/support/MemoryFileSystem.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace harvelstone::testing {

using platform::File;
using platform::OpenMode;
using platform::Result;
using Kind = DiskStep::Kind;

namespace {

std::error_code errorOf(std::errc error) { return std::make_error_code(error); }

/// Without slashes at the end.
std::string plain(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

constexpr double microsecond = 1e-6;

}  // namespace

std::string DiskCall::text() const { return name + " " + path.substr(path.rfind('/') + 1); }

class MemoryFileSystem::OpenFile final : public File {
  public:
    OpenFile(MemoryFileSystem& system, std::size_t file, std::string path, OpenMode mode)
        : system_(system), file_(file), path_(std::move(path)), isWritable_(mode != OpenMode::Read) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() override { giveBackLock(); }

    Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        if (auto fault = system_.begin("read", path_)) return fault->error;
        const std::lock_guard guard(system_.mutex_);
        const auto& content = system_.disk_.file(file_).content;
        if (offset >= content.size()) return std::size_t{0};
        const auto count = std::min(buffer.size(), content.size() - static_cast<std::size_t>(offset));
        std::memcpy(buffer.data(), content.data() + offset, count);
        return count;
    }

    Result<void> append(std::span<const std::byte> bytes) override {
        const auto fault = system_.begin("append", path_);
        lastAppended_ = 0;
        if (!isWritable_) return errorOf(std::errc::bad_file_descriptor);
        const auto count = fault ? std::min(bytes.size(), fault->bytesWritten) : bytes.size();
        lastAppended_ = count;
        if (count > 0)
            change(
                {.kind = Kind::append, .file = file_, .bytes = {reinterpret_cast<const char*>(bytes.data()), count}});
        if (fault) return fault->error;
        return {};
    }

    std::size_t lastAppended() const override { return lastAppended_; }

    Result<void> sync() override {
        if (auto fault = system_.begin("sync", path_)) return fault->error;
        change({.kind = Kind::syncFile, .file = file_});
        return {};
    }

    Result<void> truncate(std::uint64_t size) override {
        if (auto fault = system_.begin("truncate", path_)) return fault->error;
        if (!isWritable_) return errorOf(std::errc::invalid_argument);
        change({.kind = Kind::truncate, .file = file_, .size = size});
        return {};
    }

    Result<std::uint64_t> size() override {
        if (auto fault = system_.begin("size", path_)) return fault->error;
        const std::lock_guard guard(system_.mutex_);
        return std::uint64_t{system_.disk_.file(file_).content.size()};
    }

    Result<void> lock(std::chrono::milliseconds longestWait) override {
        if (auto fault = system_.begin("lock", path_)) return fault->error;
        std::unique_lock guard(system_.mutex_);
        auto& holders = system_.lockHolders_;
        const auto isFree = [&] { return !holders.contains(file_) || holders.at(file_) == this; };
        if (!system_.unlocked_.wait_for(guard, longestWait, isFree)) return errorOf(std::errc::device_or_resource_busy);
        if (!system_.disk_.isLinked(file_)) return errorOf(std::errc::no_such_file_or_directory);
        holders[file_] = this;
        return {};
    }

    Result<void> unlock() override {
        if (auto fault = system_.begin("unlock", path_)) return fault->error;
        giveBackLock();
        return {};
    }

  private:
    void change(DiskStep step) {
        const std::lock_guard guard(system_.mutex_);
        system_.apply(std::move(step));
    }

    void giveBackLock() {
        const std::lock_guard guard(system_.mutex_);
        const auto holder = system_.lockHolders_.find(file_);
        if (holder == system_.lockHolders_.end() || holder->second != this) return;
        system_.lockHolders_.erase(holder);
        system_.unlocked_.notify_all();
    }

    MemoryFileSystem& system_;
    const std::size_t file_;
    const std::string path_;
    const bool isWritable_;
    std::size_t lastAppended_ = 0;
};

MemoryFileSystem::MemoryFileSystem(std::shared_ptr<const platform::Clock> clock, const DiskImage& image)
    : clock_(std::move(clock)), disk_(image) {}

std::size_t MemoryFileSystem::callCount() const {
    const std::lock_guard guard(mutex_);
    return calls_.size();
}

std::vector<DiskCall> MemoryFileSystem::calls() const {
    const std::lock_guard guard(mutex_);
    return calls_;
}

std::vector<DiskStep> MemoryFileSystem::steps() const {
    const std::lock_guard guard(mutex_);
    return steps_;
}

DiskImage MemoryFileSystem::image() const {
    const std::lock_guard guard(mutex_);
    return disk_.image();
}

DiskImage MemoryFileSystem::afterPowerLoss(PowerLoss loss) const {
    const std::lock_guard guard(mutex_);
    return disk_.afterPowerLoss(loss);
}

std::optional<DiskFault> MemoryFileSystem::begin(const char* name, const std::string& path) {
    DiskCall call;
    {
        const std::lock_guard guard(mutex_);
        call = calls_.emplace_back(DiskCall{.number = calls_.size() + 1, .name = name, .path = path});
    }
    return onCall ? onCall(call) : std::nullopt;
}

void MemoryFileSystem::apply(DiskStep step) {
    latestDate_ = std::max(clock_->now(), latestDate_ + microsecond);
    step.time = latestDate_;
    disk_.apply(step);
    if (onStep) onStep(step);
    steps_.push_back(std::move(step));
}

Result<std::unique_ptr<File>> MemoryFileSystem::open(const std::string& path, OpenMode mode) {
    if (auto fault = begin("open", path)) return fault->error;
    const std::lock_guard guard(mutex_);
    if (disk_.isFolder(path)) return errorOf(std::errc::is_a_directory);
    auto file = disk_.fileAt(path);
    const bool isThere = file != SimulatedDisk::noFile;
    if (isThere && mode == OpenMode::Create) return errorOf(std::errc::file_exists);
    if (!isThere) {
        if (mode != OpenMode::Create || !disk_.isFolder(folderOf(path)))
            return errorOf(std::errc::no_such_file_or_directory);
        file = disk_.nextFile();
        apply({.kind = Kind::create, .file = file, .path = path});
    }
    return std::unique_ptr<File>(std::make_unique<OpenFile>(*this, file, path, mode));
}

Result<void> MemoryFileSystem::rename(const std::string& from, const std::string& to) {
    if (auto fault = begin("rename", to)) return fault->error;
    const std::lock_guard guard(mutex_);
    const auto file = disk_.fileAt(from);
    if (file == SimulatedDisk::noFile || !disk_.isFolder(folderOf(to)))
        return errorOf(std::errc::no_such_file_or_directory);
    if (disk_.isFolder(to)) return errorOf(std::errc::is_a_directory);
    apply({.kind = Kind::rename, .file = file, .path = from, .newPath = to});
    return {};
}

Result<void> MemoryFileSystem::remove(const std::string& path) {
    if (auto fault = begin("remove", path)) return fault->error;
    const std::lock_guard guard(mutex_);
    const auto file = disk_.fileAt(path);
    if (file == SimulatedDisk::noFile) return errorOf(std::errc::no_such_file_or_directory);
    apply({.kind = Kind::remove, .file = file, .path = path});
    return {};
}

Result<std::vector<std::string>> MemoryFileSystem::list(const std::string& folder) {
    if (auto fault = begin("list", folder)) return fault->error;
    const std::lock_guard guard(mutex_);
    if (!disk_.isFolder(plain(folder))) return errorOf(std::errc::no_such_file_or_directory);
    return disk_.namesIn(plain(folder));
}

Result<platform::FileAttributes> MemoryFileSystem::attributes(const std::string& path) {
    if (auto fault = begin("attributes", path)) return fault->error;
    const std::lock_guard guard(mutex_);
    const auto number = disk_.fileAt(path);
    if (number == SimulatedDisk::noFile) return errorOf(std::errc::no_such_file_or_directory);
    const auto& file = disk_.file(number);
    return platform::FileAttributes{.modificationDate = file.modificationDate, .size = file.content.size()};
}

bool MemoryFileSystem::exists(const std::string& path) {
    static_cast<void>(begin("exists", path));
    const std::lock_guard guard(mutex_);
    return disk_.isFolder(plain(path)) || disk_.fileAt(path) != SimulatedDisk::noFile;
}

bool MemoryFileSystem::isDeletable(const std::string& path) {
    static_cast<void>(begin("isDeletable", path));
    const std::lock_guard guard(mutex_);
    return disk_.isFolder(folderOf(path));
}

Result<void> MemoryFileSystem::makeFolder(const std::string& path) {
    if (auto fault = begin("makeFolder", path)) return fault->error;
    const std::lock_guard guard(mutex_);
    const auto whole = plain(path) + "/";
    for (auto end = whole.find('/', 1); end != std::string::npos; end = whole.find('/', end + 1)) {
        const auto folder = whole.substr(0, end);
        if (disk_.fileAt(folder) != SimulatedDisk::noFile) return errorOf(std::errc::not_a_directory);
        if (!disk_.isFolder(folder)) apply({.kind = Kind::makeFolder, .path = folder});
    }
    return {};
}

Result<void> MemoryFileSystem::syncFolder(const std::string& path) {
    if (auto fault = begin("syncFolder", path)) return fault->error;
    const std::lock_guard guard(mutex_);
    if (!disk_.isFolder(plain(path))) return errorOf(std::errc::no_such_file_or_directory);
    apply({.kind = Kind::syncFolder, .path = plain(path)});
    return {};
}

}  // namespace harvelstone::testing
