// The POSIX file system: every system call that the stores and housekeeping make. Our files are regular files; a
// symbolic link, a pipe or a device in place of one is refused and never waited for. Any thread.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "harvelstone/platform/FileSystem.hpp"
#include "harvelstone/platform/Fork.hpp"

namespace harvelstone::platform {
namespace {

constexpr mode_t ourFiles = 0600;
constexpr mode_t ourFolders = 0700;

std::error_code lastError() { return {errno, std::generic_category()}; }

/// Makes a system call, again and again while a signal interrupts it.
template <typename Call>
auto retried(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

template <typename Call>
Result<void> attempted(Call call) {
    if (retried(call) < 0) return lastError();
    return {};
}

/// An open file's number.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)), process_(other.process_) {}
    Descriptor& operator=(Descriptor&&) = delete;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        // Not repeated when interrupted: Linux has closed it then, too.
        if (number_ >= 0 && isOurs()) close(number_);
    }

    bool isOpen() const { return number_ >= 0; }
    /// Whether it was opened in this process. In a child made by fork it is its parent's, and the number may be closed.
    bool isOurs() const { return process_ == processGeneration(); }
    /// No file's number when it is not ours, so that a call with it fails.
    int operator*() const { return isOurs() ? number_ : -1; }

  private:
    int number_;
    unsigned process_ = processGeneration();
};

class PosixFile final : public File {
  public:
    explicit PosixFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    ~PosixFile() override {
        // Not left to the closing: a child made by fork may have the same open file, and with it the lock.
        if (isLocked_) static_cast<void>(PosixFile::unlock());
    }

    Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        std::size_t done = 0;
        while (done < buffer.size()) {
            const auto rest = buffer.subspan(done);
            const auto position = static_cast<off_t>(offset + done);
            const auto count = retried([&] { return pread(*descriptor_, rest.data(), rest.size(), position); });
            if (count < 0) return lastError();
            if (count == 0) break;
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

    Result<void> append(std::span<const std::byte> bytes) override {
        lastAppended_ = 0;
        while (lastAppended_ < bytes.size()) {
            const auto rest = bytes.subspan(lastAppended_);
            const auto count = retried([&] { return write(*descriptor_, rest.data(), rest.size()); });
            if (count < 0) return lastError();
            if (count == 0) return std::make_error_code(std::errc::io_error);
            lastAppended_ += static_cast<std::size_t>(count);
        }
        return {};
    }

    std::size_t lastAppended() const override { return lastAppended_; }

    Result<void> sync() override {
        return attempted([this] { return fdatasync(*descriptor_); });
    }

    Result<void> truncate(std::uint64_t size) override {
        return attempted([&] { return ftruncate(*descriptor_, static_cast<off_t>(size)); });
    }

    Result<std::uint64_t> size() override {
        struct stat status {};
        if (fstat(*descriptor_, &status) < 0) return lastError();
        return static_cast<std::uint64_t>(status.st_size);
    }

    Result<void> lock(std::chrono::milliseconds longestWait) override {
        closeInChild(*descriptor_);
        auto locked = waitForLock(longestWait);
        isLocked_ = locked.ok();
        if (locked) locked = checkLinked();
        if (!locked) static_cast<void>(PosixFile::unlock());
        return locked;
    }

    Result<void> unlock() override {
        auto unlocked = attempted([this] { return flock(*descriptor_, LOCK_UN); });
        if (descriptor_.isOurs()) keepInChild(*descriptor_);
        isLocked_ = false;
        return unlocked;
    }

  private:
    static constexpr std::chrono::microseconds shortestPause{50};
    static constexpr std::chrono::microseconds longestPause{5000};

    Result<void> waitForLock(std::chrono::milliseconds longestWait) const {
        using std::chrono::steady_clock;
        const auto end = steady_clock::now() + longestWait;
        // The system has no wait with an end, so it is asked again and again, at growing distances.
        for (auto pause = shortestPause;; pause = std::min(2 * pause, longestPause)) {
            const auto locked = attempted([this] { return flock(*descriptor_, LOCK_EX | LOCK_NB); });
            if (locked || locked.error() != std::errc::operation_would_block) return locked;
            const auto left = end - steady_clock::now();
            if (left <= steady_clock::duration::zero()) return std::make_error_code(std::errc::device_or_resource_busy);
            std::this_thread::sleep_for(std::min<steady_clock::duration>(pause, left));
        }
    }

    /// Between the opening and the lock another process may have removed the file.
    Result<void> checkLinked() const {
        struct stat status {};
        if (fstat(*descriptor_, &status) < 0) return lastError();
        if (status.st_nlink > 0) return {};
        return std::make_error_code(std::errc::no_such_file_or_directory);
    }

    Descriptor descriptor_;
    std::size_t lastAppended_ = 0;
    bool isLocked_ = false;
};

int flagsOf(OpenMode mode) {
    // Without O_NONBLOCK, opening a pipe that stands in place of our file would wait for its other end.
    constexpr int always = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    switch (mode) {
        case OpenMode::Read:
            return always | O_RDONLY;
        case OpenMode::Append:
            return always | O_RDWR | O_APPEND;
        case OpenMode::Create:
            return always | O_RDWR | O_APPEND | O_CREAT | O_EXCL;
    }
    return always;
}

Result<void> checkRegular(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) < 0) return lastError();
    if (S_ISREG(status.st_mode)) return {};
    return std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory : std::errc::not_supported);
}

bool isFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Result<void> makeOneFolder(const std::string& path) {
    if (mkdir(path.c_str(), ourFolders) == 0) return {};
    const auto error = lastError();
    if (isFolder(path)) return {};  // asked last: a parent that we may not write into answers EACCES, not EEXIST
    if (error == std::errc::file_exists) return std::make_error_code(std::errc::not_a_directory);
    return error;
}

/// The folder that the entry lies in, with a slash at the end; empty when the path names no entry of a folder.
std::string parentFolder(std::string_view path) {
    while (path.ends_with('/')) path.remove_suffix(1);
    if (path.empty()) return "";
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? "./" : std::string(path.substr(0, slash + 1));
}

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

Result<std::unique_ptr<File>> PosixFileSystem::open(const std::string& path, OpenMode mode) {
    Descriptor descriptor(retried([&] { return ::open(path.c_str(), flagsOf(mode), ourFiles); }));
    if (!descriptor.isOpen()) return lastError();
    if (const auto regular = checkRegular(*descriptor); !regular) return regular.error();
    return std::unique_ptr<File>(std::make_unique<PosixFile>(std::move(descriptor)));
}

Result<void> PosixFileSystem::rename(const std::string& from, const std::string& to) {
    return attempted([&] { return ::rename(from.c_str(), to.c_str()); });
}

Result<void> PosixFileSystem::remove(const std::string& path) {
    const auto removed = attempted([&] { return unlink(path.c_str()); });
    if (removed || removed.error() != std::errc::is_a_directory) return removed;
    std::error_code error;
    std::filesystem::remove_all(path, error);
    return error;
}

Result<std::vector<std::string>> PosixFileSystem::list(const std::string& folder) {
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.c_str()));
    if (!entries) return lastError();
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const auto* entry = readdir(entries.get());
        if (!entry) break;
        std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") names.push_back(std::move(name));
    }
    if (errno != 0) return lastError();
    return names;
}

Result<FileAttributes> PosixFileSystem::attributes(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) < 0) return lastError();
    const auto& modified = status.st_mtim;
    return FileAttributes{static_cast<double>(modified.tv_sec) + static_cast<double>(modified.tv_nsec) * 1e-9,
                          static_cast<std::uint64_t>(status.st_size)};
}

bool PosixFileSystem::exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;  // a link that leads nowhere is an entry, too, and can be removed
}

bool PosixFileSystem::isDeletable(const std::string& path) {
    return faccessat(AT_FDCWD, parentFolder(path).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

Result<void> PosixFileSystem::makeFolder(const std::string& path) {
    for (auto end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (const auto made = makeOneFolder(path.substr(0, end)); !made) return made;
    }
    return makeOneFolder(path);
}

Result<void> PosixFileSystem::syncFolder(const std::string& path) {
    const Descriptor folder(retried([&] { return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!folder.isOpen()) return lastError();
    return attempted([&] { return fsync(*folder); });
}

}  // namespace harvelstone::platform
