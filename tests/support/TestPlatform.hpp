#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// How GoogleTest shows a value: as its JSON text.
void PrintTo(const Value& value, std::ostream* stream);

}  // namespace harvelstone

/// A faked machine under the real services: time, tasks, answers and the device are the test's, files are real and lie
/// in a temporary folder of the test's own.
namespace harvelstone::testing {

class FakeClock final : public platform::Clock {
  public:
    double now() const override;
    void set(double secondsSince1970);
    void advance(double seconds);
    /// Each reading moves the clock by this much, so that "fresh" readings can be told from reused ones. 0 at start.
    void tickPerReading(double seconds);

  private:
    mutable std::mutex mutex_;
    mutable double now_ = 1'479'259'200.5;  // 2016-11-16 01:20:00.5 UTC
    double tick_ = 0;
};

/// Tasks run when the test says so, on the test's thread, in the order of their times; the fake clock is not moved.
class ManualRunLoop final : public platform::RunLoop, public std::enable_shared_from_this<ManualRunLoop> {
  public:
    void post(platform::Task task) override;
    void callAfter(platform::Seconds delay, platform::Task task) override;

    /// Lets the time of this loop pass: runs what falls due, in order, with this loop current.
    void advance(double seconds);
    void runPosted() { advance(0); }
    /// The delays, from now, of the tasks that wait, earliest first.
    std::vector<double> pendingDelays() const;

  private:
    mutable std::mutex mutex_;
    double time_ = 0;
    std::multimap<double, platform::Task> tasks_;
};

/// Every operation queue it hands out, for the test to run.
class ManualWorkers final : public platform::Workers {
  public:
    std::shared_ptr<platform::RunLoop> newOperationQueue() override;
    std::vector<std::shared_ptr<ManualRunLoop>> queues;

  private:
    std::mutex mutex_;  // of `queues`, while several threads ask
};

/// A request as it was sent, with its body read to the end.
struct SentRequest {
    platform::HttpRequest request;
    std::string body;
    std::shared_ptr<platform::RunLoop> queue;
    platform::HttpCompletion completion;

    /// The first header of that name, in whatever case it is written.
    std::optional<std::string> header(std::string_view name) const;
    /// The JSON text: gunzipped and percent-decoded by code that shares nothing with the library's.
    std::string json() const;
    Value document() const;
};

/// Keeps every request until the test answers it.
class FakeHttpClient final : public platform::HttpClient {
  public:
    void sendAsynchronousRequest(platform::HttpRequest request, std::shared_ptr<platform::RunLoop> queue,
                                 platform::HttpCompletion completionHandler) override;

    /// Called first by every start, to raise what it wants; cleared by an empty function.
    std::function<void()> onStart;
    std::vector<SentRequest> requests;

    /// Completes the newest request, or the one named, on its own queue, with that queue running on this thread. With a
    /// body the status is 200; without one there was no answer. A request is answered once: what cannot be answered
    /// raises std::logic_error.
    void answer(std::optional<std::string> body);
    void answer(std::size_t requestIndex, std::optional<std::string> body);
    /// The same with everything that a transport can hand over.
    void complete(std::size_t requestIndex, const platform::HttpResponse& response,
                  const std::optional<std::string>& body, const std::optional<platform::HttpError>& error);

  private:
    std::mutex mutex_;  // of `requests`, while several threads send
};

class FakeDevice final : public platform::Device {
  public:
    explicit FakeDevice(std::string documents) : documents_(std::move(documents)) {}
    std::vector<std::string> documentsDirectories() const override {
        return {documents_, documents_ + "/not-the-first"};
    }
    std::string bundleIdentifier() const override { return bundle; }
    std::string uuidText() const override;  // counts up: 00000001-0000-4000-8000-000000000000, ...
    bool isConnectedToNetwork() const override { return connected; }
    std::string connectionType() const override { return "wifi"; }
    std::string operatingSystem() const override { return "TestOS 1.0"; }
    std::string machine() const override { return "x86_64"; }
    std::string language() const override { return "en"; }
    std::string country() const override { return "GB"; }

    bool connected = true;
    std::string bundle = "com.example.shop";
    mutable std::atomic<unsigned> uuids = 0;  ///< handed out so far

  private:
    std::string documents_;
};

class RecordingLog final : public platform::Log {
  public:
    void platformLine(std::string_view line) noexcept override;
    void debugLine(std::string_view line) noexcept override;

    std::vector<std::string> lines() const;  ///< the debug log
    std::vector<std::string> platformLines() const;
    std::vector<std::string> linesStartingWith(std::string_view start) const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    std::vector<std::string> platformLines_;
};

/// Installs the faked machine for this process. A test makes one, before it uses the library. Tests that use the
/// services make a `Machine` (tests/support/ServicesFixture.hpp), which has the debug log on.
class TestPlatform {
  public:
    /// In a fresh temporary folder, removed at the end, or over a folder that an earlier life left.
    TestPlatform();
    explicit TestPlatform(std::string documentsFolder);
    ~TestPlatform();
    TestPlatform(const TestPlatform&) = delete;
    TestPlatform& operator=(const TestPlatform&) = delete;

    /// From now on; `processExit` at start, because no test cuts the power.
    static void setSyncPolicy(platform::SyncPolicy policy);
    /// From now on; to be called before the library has opened a file.
    void setFileSystem(std::shared_ptr<platform::FileSystem> replacement);

    std::string documents;  ///< the Documents folder
    std::string folder;     ///< the storage folder, with the slash at the end
    std::shared_ptr<FakeClock> clock;
    std::shared_ptr<platform::FileSystem> fileSystem;  ///< POSIX, until replaced
    std::shared_ptr<FakeHttpClient> http;
    std::shared_ptr<ManualRunLoop> mainQueue;
    std::shared_ptr<ManualWorkers> workers;
    std::shared_ptr<FakeDevice> device;
    std::shared_ptr<RecordingLog> log;

    std::vector<std::string> storedFiles() const;  ///< names in the storage folder, sorted
    void writeFile(const std::string& name, std::string_view content) const;
    std::string readFile(const std::string& name) const;
    void setFileAge(const std::string& name, double seconds) const;  ///< before the fake clock's now

  private:
    bool ownsDocuments_ = false;
};

/// One life of an app: runs the piece in a child process, which then exits as an app does, and waits for its end. A
/// failed expectation inside, an exception that leaves the piece, and any other end of the child fail the test that
/// called it.
///
/// The child begins as a copy of this process, so a test of several lives makes its platform inside each life and never
/// outside; all lives share a `TemporaryFolder` made outside:
///
///     const TemporaryFolder documents;
///     life([&] { Machine machine(documents.path()); ... });
///     life([&] { Machine machine(documents.path()); ... });
void life(const std::function<void()>& piece);
/// The same, but the child must kill itself with SIGKILL where the piece calls `dieHere()`.
void lifeUntilKilled(const std::function<void()>& piece);
[[noreturn]] void dieHere();

/// A folder of its own, removed when the object goes; to be shared by several lives.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace harvelstone::testing
