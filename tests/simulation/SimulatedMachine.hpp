#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Platform.hpp"

#include "tests/simulation/Scheduler.hpp"
#include "tests/support/MemoryFileSystem.hpp"

namespace harvelstone::testing {

/// The wall clock: the scheduler's time behind an offset that jumps. Each reading takes a little time, so that no two
/// are the same.
class SimulatedClock final : public platform::Clock {
  public:
    SimulatedClock(Scheduler& scheduler, double begin) : scheduler_(scheduler), offset_(begin) {}

    double now() const override;
    /// Without the time that a reading takes, and unseen.
    double peek() const { return offset_ + scheduler_.time(); }
    void jump(double seconds) { offset_ += seconds; }

    std::function<void(double)> onReading;

  private:
    Scheduler& scheduler_;
    double offset_;
};

/// The same clock for the disk, whose dates are not the component's readings.
class DiskClock final : public platform::Clock {
  public:
    explicit DiskClock(std::shared_ptr<const SimulatedClock> clock) : clock_(std::move(clock)) {}
    double now() const override { return clock_->peek(); }

  private:
    std::shared_ptr<const SimulatedClock> clock_;
};

class SimulatedDevice final : public platform::Device {
  public:
    SimulatedDevice(std::string documents, std::size_t life) : documents_(std::move(documents)), life_(life) {}
    std::vector<std::string> documentsDirectories() const override { return {documents_}; }
    std::string bundleIdentifier() const override { return "com.example.shop"; }
    std::string uuidText() const override;  // of the life, counting up
    bool isConnectedToNetwork() const override;
    std::string connectionType() const override { return "wifi"; }
    std::string operatingSystem() const override { return "TestOS 1.0"; }
    std::string machine() const override { return "x86_64"; }
    std::string language() const override { return "en"; }
    std::string country() const override { return "GB"; }

    bool isOnline = true;

  private:
    const std::string documents_;
    const std::size_t life_;
    mutable unsigned uuids_ = 0;
};

class SimulatedLog final : public platform::Log {
  public:
    void platformLine(std::string_view line) noexcept override;
    void debugLine(std::string_view line) noexcept override;
    std::function<void(std::string_view line, bool isPlatformLine)> onLine;
};

/// A run loop whose tasks run on a thread of its own, which is there as long as it has something to do.
class SimulatedLoop final : public platform::RunLoop, public std::enable_shared_from_this<SimulatedLoop> {
  public:
    SimulatedLoop(Scheduler& scheduler, std::string name) : scheduler_(scheduler), name_(std::move(name)) {}

    void post(platform::Task task) override { callAfter(platform::Seconds(0), std::move(task)); }
    void callAfter(platform::Seconds delay, platform::Task task) override;
    /// The same for a task of the machine's own, not the component's.
    void callUntoldAfter(double delay, platform::Task task);

    bool isIdle() const { return tasks_.empty() && runner_ == nullptr; }
    /// Told around each task of the component's.
    std::function<void(bool begins)> onTask;

  private:
    struct Entry {
        platform::Task task;
        bool isTold = true;
    };
    void add(double delay, Entry entry);
    void run();

    Scheduler& scheduler_;
    const std::string name_;
    std::multimap<double, Entry> tasks_;  // by the time when they are due
    Scheduler::Task* runner_ = nullptr;
};

class SimulatedWorkers final : public platform::Workers {
  public:
    explicit SimulatedWorkers(Scheduler& scheduler) : scheduler_(scheduler) {}
    std::shared_ptr<platform::RunLoop> newOperationQueue() override;
    /// Told around each task of each queue.
    std::function<void(bool begins)> onTask;
    bool areIdle() const;

  private:
    Scheduler& scheduler_;
    std::vector<std::shared_ptr<SimulatedLoop>> loops_;
};

/// The disk in memory, each of whose calls is a point where another thread may go on.
class PreemptibleFileSystem final : public platform::FileSystem {
  public:
    explicit PreemptibleFileSystem(std::shared_ptr<MemoryFileSystem> disk) : disk_(std::move(disk)) {}

    /// Told of a file's date when it was asked for, before a file is removed, after that, and after bytes were written.
    std::function<void(const std::string& path, double date)> onDate;
    std::function<void(const std::string& path)> onRemove;
    std::function<void(const std::string& path)> onRemoved;
    std::function<void(const std::string& path, std::string_view bytes)> onWritten;
    /// Told before a file is cut, and after that.
    std::function<void(const std::string& path, std::uint64_t size)> onTruncate;
    std::function<void(const std::string& path, std::uint64_t size)> onTruncated;

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
    std::shared_ptr<MemoryFileSystem> disk_;
};

}  // namespace harvelstone::testing
