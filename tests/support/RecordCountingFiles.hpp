#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/FileSystem.hpp"

namespace harvelstone::testing {

/// Counts the records that are written into queues, apart from all that the library keeps count of: frames of records
/// in what is appended, without those that are cut off again because their writing failed. Any thread.
class RecordCountingFiles final : public platform::FileSystem {
  public:
    explicit RecordCountingFiles(std::shared_ptr<platform::FileSystem> inner) : inner_(std::move(inner)) {}

    std::uint64_t written(RecordKind kind) const;
    /// Whether a question to these files comes here: a test may have put others in their place.
    bool areBehind(platform::FileSystem& files);

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override;
    platform::Result<void> rename(const std::string& from, const std::string& to) override {
        return inner_->rename(from, to);
    }
    platform::Result<void> remove(const std::string& path) override { return inner_->remove(path); }
    platform::Result<std::vector<std::string>> list(const std::string& folder) override { return inner_->list(folder); }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override {
        return inner_->attributes(path);
    }
    bool exists(const std::string& path) override;
    bool isDeletable(const std::string& path) override { return inner_->isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override { return inner_->makeFolder(path); }
    platform::Result<void> syncFolder(const std::string& path) override { return inner_->syncFolder(path); }

  private:
    class CountedFile;

    const std::shared_ptr<platform::FileSystem> inner_;
    mutable std::mutex mutex_;
    std::map<RecordKind, std::uint64_t> written_;
    bool wasAsked_ = false;
};

}  // namespace harvelstone::testing
