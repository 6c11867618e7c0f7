#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/platform/Value.hpp"

#include "tests/crash/History.hpp"
#include "tests/support/MemoryFileSystem.hpp"
#include "tests/support/ServicesFixture.hpp"

namespace harvelstone::testing {

inline constexpr const char* homeFolder = "/home";
inline constexpr const char* documentsFolder = "/home/documents";
inline constexpr const char* storedFolder = "/home/documents/harvelstone/";

/// The device before the app was installed.
inline DiskImage newDevice() { return {.folders = {"/", homeFolder}, .files = {}}; }

/// What a life begins with.
struct Situation {
    DiskImage disk = newDevice();
    double time = 1'479'259'200.5;  ///< 2016-11-16 01:20:00.5 UTC
    platform::SyncPolicy policy = platform::SyncPolicy::powerLoss;
    int nextNumber = 1;      ///< of the records
    unsigned firstUuid = 0;  ///< so that no life gets a number that another had
};

/// A host app on a faked machine with its disk in memory. Every record bears a number of its own, so that it can be
/// found again, and whatever happens is written down. One a process.
class App {
  public:
    explicit App(const Situation& situation);

    /// As the first thing that an app does.
    void start();
    void startVisit();
    void endVisit();

    /// Each record is of the kind that the prefix of its queue names.
    void record(const std::string& queue);
    /// A short page record behind a complete one, so that the summary of its run has its number as the seconds.
    void recordProgress();
    void recordOneOfEach();

    void send();
    /// The server's answer to the latest upload, if one is under way; absent for none.
    void reply(std::optional<std::string> body);
    /// A second passes in which the worker repeats the upload.
    void repeat();
    /// Answers "{}" until nothing is under way.
    void sendAll();
    void passTime(double seconds);
    /// Runs what the main queue holds for the next second.
    void runMainQueue();
    void setOnline(bool online) { machine_.device->connected = online; }

    /// Anything else that the app does.
    void call(const std::function<void()>& operation);

    MemoryFileSystem& disk() { return *disk_; }
    /// Called before each call on the disk, for faults.
    std::function<std::optional<DiskFault>(const DiskCall&)> onCall;
    const RecordingLog& log() const { return *machine_.log; }
    double now() const { return machine_.clock->now(); }
    const History& history() const { return history_; }

  private:
    bool isUploading() const;
    void note(Happening happening);
    void noteDocuments();

    Machine machine_{documentsFolder};
    std::shared_ptr<MemoryFileSystem> disk_;
    History history_;
    int nextNumber_;
    std::set<std::string> knownIds_;
    std::size_t notedUploads_ = 0;
};

/// Whether the records of the queue do, by its prefix.
bool goesIntoDocuments(const std::string& queue);

}  // namespace harvelstone::testing
