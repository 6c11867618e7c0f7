#pragma once

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "tests/support/RecordCountingFiles.hpp"
#include "tests/support/ServicesFixture.hpp"

namespace harvelstone::testing {

/// The key of the pending list in the document DB map, written out.
inline constexpr const char* pendingKey = "DocumentTarget";

inline constexpr double secondsOfADay = 24.0 * 60 * 60;

/// The pending list as it stands in memory, in the document DB map, and in that map's file.
std::vector<std::string> pendingIds();
std::vector<std::string> storedIds();
std::vector<std::string> idsOnDisk(const TestPlatform& platform);

/// What lies in a map's file, read by a parser that is not ours.
nlohmann::json fileOfMap(const TestPlatform& platform, const std::string& name);

/// A section of a document; the session section of the current one.
Dictionary section(const NamedMap& document, const TypeConstant& type);
Dictionary currentSession();

/// The reason of the InvalidArgumentException that the call raises; a failure when it raises none.
std::string refusal(const std::function<void()>& call);

/// Real files, with every opening and renaming noted and a hook before each renaming.
class RecordingFileSystem final : public platform::FileSystem {
  public:
    explicit RecordingFileSystem(std::shared_ptr<platform::FileSystem> inner) : inner_(std::move(inner)) {}

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override;
    platform::Result<void> rename(const std::string& from, const std::string& to) override;
    platform::Result<void> remove(const std::string& path) override { return inner_->remove(path); }
    platform::Result<std::vector<std::string>> list(const std::string& folder) override { return inner_->list(folder); }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override {
        return inner_->attributes(path);
    }
    bool exists(const std::string& path) override { return inner_->exists(path); }
    bool isDeletable(const std::string& path) override { return inner_->isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override { return inner_->makeFolder(path); }
    platform::Result<void> syncFolder(const std::string& path) override { return inner_->syncFolder(path); }

    std::vector<std::string> opened;     ///< paths, in order
    std::vector<std::string> committed;  ///< paths renamed to, in order
    std::function<void()> beforeRename;
    std::function<bool(const std::string& path)> mayOpen;  ///< answers false: the opening fails

  private:
    std::shared_ptr<platform::FileSystem> inner_;
};

/// A clock that does what the test says at each reading.
class HookedClock final : public platform::Clock {
  public:
    explicit HookedClock(std::function<double()> reading) : reading_(std::move(reading)) {}
    double now() const override { return reading_(); }

  private:
    std::function<double()> reading_;
};

/// Whatever a test has done, and still does on its threads, every document and record is accounted for.
void expectLedgerBalances();

/// A fresh installation on a faked machine. In the end its ledger has to balance, and to have recorded what was
/// written.
class DocumentTest : public ::testing::Test {
  protected:
    DocumentTest();
    void TearDown() override;

    /// False in a test that writes or deletes queue files itself, or takes records out of them.
    bool areRecordsOnlyOurs = true;

    DocumentManager& manager() { return DocumentManager::sharedInstance(); }
    /// The visit ends: what needs a session next begins a new one.
    void endVisit();
    /// Everything that is renamed into place from now on.
    std::shared_ptr<RecordingFileSystem> recordFiles();

    Machine machine;

  private:
    std::shared_ptr<RecordCountingFiles> written_;
};

}  // namespace harvelstone::testing
