#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "harvelstone/platform/Clock.hpp"
#include "harvelstone/platform/FileSystem.hpp"

#include "tests/support/SimulatedDisk.hpp"

namespace harvelstone::testing {

/// One call that the library made.
struct DiskCall {
    std::size_t number = 0;  ///< from 1
    std::string name;        ///< "open", "read", "append", "sync", "truncate", "size", "lock", "unlock", "rename", ...
    std::string path;        ///< the file or folder; of a file that was renamed since, the path it was opened under

    /// "append goal_1.Harvelstone": without the folder.
    std::string text() const;
};

/// How a call fails. An append leaves the first of its bytes nevertheless.
struct DiskFault {
    std::error_code error;
    std::size_t bytesWritten = 0;
};

/// A file system in memory: fast, deterministic, and able to say what would be left of it. What fits in the interface
/// behaves as on POSIX (one contract test runs on both); there are no links and no rights. Each change gets a date of
/// its own, a microsecond behind the one before if the clock stands still. Any thread.
///
///     auto disk = std::make_shared<MemoryFileSystem>(machine.clock, imageOfTheLifeBefore);
///     machine.setFileSystem(disk);
///     ...
///     disk->image();                                 what the next life finds after the process has died here
///     disk->afterPowerLoss({.entries = ..., .data = ..., .seed = 7});    what it may find after a loss of power
class MemoryFileSystem final : public platform::FileSystem {
  public:
    explicit MemoryFileSystem(std::shared_ptr<const platform::Clock> clock, const DiskImage& image = {});

    /// Asked before each call; closing is none. An answer makes the call fail so; `exists` and `isDeletable`, which
    /// cannot fail, are made nevertheless. Runs on the calling thread without a lock held; may throw or end the
    /// process, and nothing of the call has happened then.
    std::function<std::optional<DiskFault>(const DiskCall&)> onCall;

    /// Told of each step of the disk, on the thread of the call and with the disk locked: for taking notes.
    std::function<void(const DiskStep&)> onStep;

    std::size_t callCount() const;
    std::vector<DiskCall> calls() const;
    /// Every change and sync so far. Fed to `SimulatedDisk(image)` they lead to the state of now.
    std::vector<DiskStep> steps() const;

    DiskImage image() const;
    DiskImage afterPowerLoss(PowerLoss loss) const;

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override;
    platform::Result<void> rename(const std::string& from, const std::string& to) override;
    platform::Result<void> remove(const std::string& path) override;
    platform::Result<std::vector<std::string>> list(const std::string& folder) override;
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override;
    bool exists(const std::string& path) override;
    bool isDeletable(const std::string& path) override;
    platform::Result<void> makeFolder(const std::string& path) override;
    platform::Result<void> syncFolder(const std::string& path) override;

  private:
    class OpenFile;

    /// Writes the call down; how it shall fail, if it shall.
    std::optional<DiskFault> begin(const char* name, const std::string& path);
    void apply(DiskStep step);

    const std::shared_ptr<const platform::Clock> clock_;
    mutable std::mutex mutex_;
    SimulatedDisk disk_;
    std::vector<DiskCall> calls_;
    std::vector<DiskStep> steps_;
    double latestDate_ = 0;
    std::map<std::size_t, const OpenFile*> lockHolders_;  // by file
    std::condition_variable unlocked_;
};

}  // namespace harvelstone::testing
