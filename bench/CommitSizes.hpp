#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "harvelstone/platform/FileSystem.hpp"

namespace harvelstone::bench {

/// Real files; notes how large each file was that was renamed to one path.
class CommitSizes final : public platform::FileSystem {
  public:
    explicit CommitSizes(std::string path) : path_(std::move(path)) {}

    std::vector<std::uint64_t> sizes;  ///< in the order of the commits

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override {
        return files_.open(path, mode);
    }
    platform::Result<void> rename(const std::string& from, const std::string& to) override {
        if (to == path_)
            if (const auto written = files_.attributes(from)) sizes.push_back(written->size);
        return files_.rename(from, to);
    }
    platform::Result<void> remove(const std::string& path) override { return files_.remove(path); }
    platform::Result<std::vector<std::string>> list(const std::string& folder) override { return files_.list(folder); }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override {
        return files_.attributes(path);
    }
    bool exists(const std::string& path) override { return files_.exists(path); }
    bool isDeletable(const std::string& path) override { return files_.isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override { return files_.makeFolder(path); }
    platform::Result<void> syncFolder(const std::string& path) override { return files_.syncFolder(path); }

  private:
    const std::string path_;
    platform::PosixFileSystem files_;
};

}  // namespace harvelstone::bench
