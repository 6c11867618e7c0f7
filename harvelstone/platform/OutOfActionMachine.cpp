#include "harvelstone/platform/OutOfActionMachine.hpp"

#include "harvelstone/platform/Exception.hpp"

namespace harvelstone::platform {
namespace {

std::error_code refused() { return std::make_error_code(std::errc::operation_canceled); }

class NoFiles final : public FileSystem {
  public:
    Result<std::unique_ptr<File>> open(const std::string& /*path*/, OpenMode /*mode*/) override { return refused(); }
    Result<void> rename(const std::string& /*from*/, const std::string& /*to*/) override { return refused(); }
    Result<void> remove(const std::string& /*path*/) override { return refused(); }
    Result<std::vector<std::string>> list(const std::string& /*folder*/) override { return refused(); }
    Result<FileAttributes> attributes(const std::string& /*path*/) override { return refused(); }
    bool exists(const std::string& /*path*/) override { return false; }
    bool isDeletable(const std::string& /*path*/) override { return false; }
    Result<void> makeFolder(const std::string& /*path*/) override { return refused(); }
    Result<void> syncFolder(const std::string& /*path*/) override { return refused(); }
};

class NoRequests final : public HttpClient {
  public:
    void sendAsynchronousRequest(HttpRequest /*request*/, std::shared_ptr<RunLoop> /*queue*/,
                                 HttpCompletion /*completionHandler*/) override {
        throw Exception("this process was made in the middle of an operation of its parent's");
    }
};

class NoTasks final : public RunLoop {
  public:
    void post(Task /*task*/) override {}
    void callAfter(Seconds /*delay*/, Task /*task*/) override {}
};

class NoWorkers final : public Workers {
  public:
    std::shared_ptr<RunLoop> newOperationQueue() override { return std::make_shared<NoTasks>(); }
};

class NoLog final : public Log {
  public:
    void platformLine(std::string_view /*line*/) noexcept override {}
    void debugLine(std::string_view /*line*/) noexcept override {}
};

}  // namespace

Platform outOfActionMachine(const Platform& parents) {
    return {.clock = parents.clock,
            .fileSystem = std::make_shared<NoFiles>(),
            .httpClient = std::make_shared<NoRequests>(),
            .mainQueue = std::make_shared<NoTasks>(),
            .workers = std::make_shared<NoWorkers>(),
            .device = parents.device,
            .log = std::make_shared<NoLog>(),
            .syncPolicy = parents.syncPolicy};
}

}  // namespace harvelstone::platform
