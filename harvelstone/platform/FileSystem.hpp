#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "harvelstone/platform/Result.hpp"

namespace harvelstone::platform {

/// One open file. Closed when destroyed. Used by one thread at a time.
class File {
  public:
    virtual ~File() = default;

    /// Reads at the offset as much as there is, up to the buffer's size; 0 at the end.
    virtual Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) = 0;
    /// One write of all the bytes at the file's end. After an error a part of them may stand there.
    virtual Result<void> append(std::span<const std::byte> bytes) = 0;
    /// How many bytes the last append has put at the file's end: all of them, unless it failed.
    virtual std::size_t lastAppended() const = 0;
    /// Makes what was written survive a loss of power.
    virtual Result<void> sync() = 0;
    virtual Result<void> truncate(std::uint64_t size) = 0;
    virtual Result<std::uint64_t> size() = 0;
    /// Waits until no other holder, in this process or another, has the file locked, but no longer than this; then the
    /// error is `device_or_resource_busy`. With zero it only tries. For a file that a holder before has removed the
    /// error is `no_such_file_or_directory`.
    virtual Result<void> lock(std::chrono::milliseconds longestWait) = 0;
    virtual Result<void> unlock() = 0;
};

enum class OpenMode {
    Read,    ///< the file must exist
    Append,  ///< read and append; the file must exist
    Create,  ///< read and append; must not exist yet; mode 0600
};

struct FileAttributes {
    double modificationDate = 0;  ///< seconds since 1970
    std::uint64_t size = 0;
};

/// Every system call that the stores and housekeeping make. Any thread may call it. A path is passed on as it stands.
class FileSystem {
  public:
    virtual ~FileSystem() = default;

    virtual Result<std::unique_ptr<File>> open(const std::string& path, OpenMode mode) = 0;
    virtual Result<void> rename(const std::string& from, const std::string& to) = 0;
    virtual Result<void> remove(const std::string& path) = 0;
    /// Names of the folder's entries, without "." and "..", in no particular order.
    virtual Result<std::vector<std::string>> list(const std::string& folder) = 0;
    virtual Result<FileAttributes> attributes(const std::string& path) = 0;
    virtual bool exists(const std::string& path) = 0;
    /// Whether the parent folder exists and lets us remove entries; the file itself need not exist.
    virtual bool isDeletable(const std::string& path) = 0;
    /// Makes the folder and its missing parents, each with mode 0700; no error when it is there.
    virtual Result<void> makeFolder(const std::string& path) = 0;
    /// Makes the folder's entries (made, renamed, removed) survive a loss of power.
    virtual Result<void> syncFolder(const std::string& path) = 0;
};

/// The POSIX file system.
class PosixFileSystem final : public FileSystem {
  public:
    Result<std::unique_ptr<File>> open(const std::string& path, OpenMode mode) override;
    Result<void> rename(const std::string& from, const std::string& to) override;
    Result<void> remove(const std::string& path) override;
    Result<std::vector<std::string>> list(const std::string& folder) override;
    Result<FileAttributes> attributes(const std::string& path) override;
    bool exists(const std::string& path) override;
    bool isDeletable(const std::string& path) override;
    Result<void> makeFolder(const std::string& path) override;
    Result<void> syncFolder(const std::string& path) override;
};

}  // namespace harvelstone::platform
