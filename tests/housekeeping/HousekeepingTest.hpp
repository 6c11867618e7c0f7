#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {

inline constexpr double secondsOfAnHour = 60.0 * 60.0;

/// Real files, but what is asked of them can be made to fail.
class StubbornFileSystem final : public platform::FileSystem {
  public:
    explicit StubbornFileSystem(std::shared_ptr<platform::FileSystem> inner) : inner_(std::move(inner)) {}

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override {
        return inner_->open(path, mode);
    }
    platform::Result<void> rename(const std::string& from, const std::string& to) override {
        if (renameError) return *renameError;
        return inner_->rename(from, to);
    }
    platform::Result<void> remove(const std::string& path) override {
        if (onRemove) onRemove();
        if (removeError) return *removeError;
        removed.push_back(path);
        return inner_->remove(path);
    }
    platform::Result<std::vector<std::string>> list(const std::string& folder) override {
        if (onList) onList();
        return inner_->list(folder);
    }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override {
        ++lookedAt[path];
        if (attributesError) return *attributesError;
        return inner_->attributes(path);
    }
    bool exists(const std::string& path) override { return inner_->exists(path); }
    bool isDeletable(const std::string& path) override { return deletable && inner_->isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override { return inner_->makeFolder(path); }
    platform::Result<void> syncFolder(const std::string& path) override { return inner_->syncFolder(path); }

    bool deletable = true;
    std::optional<std::error_code> removeError;
    std::optional<std::error_code> renameError;
    std::optional<std::error_code> attributesError;
    std::function<void()> onRemove;  ///< called first by every removal
    std::function<void()> onList;    ///< called first by every listing
    std::vector<std::string> removed;
    std::map<std::string, int> lookedAt;  ///< how often its attributes were asked for

  private:
    std::shared_ptr<platform::FileSystem> inner_;
};

/// A manager with one pending document, and files that the test puts beside it.
class HousekeepingTest : public DocumentTest {
  protected:
    HousekeepingTest() {
        files = std::make_shared<StubbornFileSystem>(machine.fileSystem);
        machine.setFileSystem(files);
        manager();
        machine.log->clear();
    }

    void TearDown() override {
        files->onList = nullptr;
        DocumentTest::TearDown();
    }

    void put(const std::string& name, double ageInHours = 0) {
        machine.writeFile(name, "x");
        areRecordsOnlyOurs = false;  // in a queue it counts as a damaged one
        machine.setFileAge(name, ageInHours * secondsOfAnHour);
    }
    std::string path(const std::string& name) const { return machine.folder + name; }
    bool isThere(const std::string& name) const { return files->exists(path(name)); }

    std::vector<std::string> linesOf(const std::function<void()>& call) {
        machine.log->clear();
        call();
        return machine.log->lines();
    }

    std::shared_ptr<StubbornFileSystem> files;
};

}  // namespace harvelstone::testing
