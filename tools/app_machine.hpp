#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::tools {

/// The system's clock, moved by what the scenario asks for.
class ShiftedClock final : public platform::Clock {
  public:
    double now() const override;
    void advance(double seconds);
    /// How far it is ahead of the system's clock, in seconds.
    double shift() const { return shift_; }

  private:
    platform::SystemClock systemClock_;
    std::atomic<double> shift_{0};
};

/// This machine with a Documents folder of the caller's choice and a network that is switched by hand.
class AppDevice final : public platform::Device {
  public:
    explicit AppDevice(std::string documents);

    std::vector<std::string> documentsDirectories() const override { return {documents_}; }
    std::string bundleIdentifier() const override { return machine_.bundleIdentifier(); }
    std::string uuidText() const override { return machine_.uuidText(); }
    bool isConnectedToNetwork() const override { return isConnected_; }
    std::string connectionType() const override { return isConnected_ ? "wifi" : "none"; }
    std::string operatingSystem() const override { return machine_.operatingSystem(); }
    std::string machine() const override { return machine_.machine(); }
    std::string language() const override { return machine_.language(); }
    std::string country() const override { return machine_.country(); }

    void setConnected(bool isConnected) { isConnected_ = isConnected; }

  private:
    platform::PosixDevice machine_;
    const std::string documents_;
    std::atomic<bool> isConnected_{true};
};

/// Which shift of the clock was in force when a file was last written. Files of earlier runs have none. Any thread.
class WriteShifts {
  public:
    explicit WriteShifts(std::shared_ptr<const ShiftedClock> clock) : clock_(std::move(clock)) {}

    void written(const std::string& path);
    void renamed(const std::string& from, const std::string& to);
    void removed(const std::string& path);
    double of(const std::string& path) const;

  private:
    std::shared_ptr<const ShiftedClock> clock_;
    mutable std::mutex mutex_;
    std::map<std::string, double> shifts_;
};

/// POSIX files whose modification dates go by the shifted clock, so that ages computed from both are right.
class ShiftedFileSystem final : public platform::FileSystem {
  public:
    explicit ShiftedFileSystem(std::shared_ptr<const ShiftedClock> clock);

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override;
    platform::Result<void> rename(const std::string& from, const std::string& to) override;
    platform::Result<void> remove(const std::string& path) override;
    platform::Result<std::vector<std::string>> list(const std::string& folder) override { return files_.list(folder); }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override;
    bool exists(const std::string& path) override { return files_.exists(path); }
    bool isDeletable(const std::string& path) override { return files_.isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override { return files_.makeFolder(path); }
    platform::Result<void> syncFolder(const std::string& path) override { return files_.syncFolder(path); }

  private:
    platform::PosixFileSystem files_;
    std::shared_ptr<WriteShifts> shifts_;
};

/// Hands both kinds of line to functions.
class AppLog final : public platform::Log {
  public:
    using TakeLine = std::function<void(std::string_view)>;
    AppLog(TakeLine takeDebugLine, TakeLine takePlatformLine)
        : takeDebugLine_(std::move(takeDebugLine)), takePlatformLine_(std::move(takePlatformLine)) {}

    void platformLine(std::string_view line) noexcept override;
    void debugLine(std::string_view line) noexcept override;

  private:
    const TakeLine takeDebugLine_;
    const TakeLine takePlatformLine_;
};

/// The machine that a played app runs on: real files and real HTTP, with a clock and a network in the player's hand.
struct AppMachine {
    std::shared_ptr<ShiftedClock> clock;
    std::shared_ptr<AppDevice> device;

    /// Makes it and puts it in force for the rest of the process. Without an HTTP client it has the default one.
    static AppMachine install(const std::string& documents, std::shared_ptr<platform::Log> log,
                              std::shared_ptr<platform::HttpClient> httpClient = nullptr);
};

}  // namespace harvelstone::tools
