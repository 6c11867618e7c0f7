#include "harvelstone/platform/Platform.hpp"

#include <atomic>
#include <memory>
#include <utility>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"
#include "harvelstone/platform/OutOfActionMachine.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"
#include "harvelstone/platform/keep_loaded.hpp"

namespace harvelstone::platform {
namespace {

// Set once and never freed: a worker may still be busy while the host exits.
constinit std::atomic<Platform*> inForce = nullptr;

std::unique_ptr<Platform> completed(Platform platform) {
    if (!platform.clock) platform.clock = std::make_shared<SystemClock>();
    if (!platform.fileSystem) platform.fileSystem = std::make_shared<PosixFileSystem>();
    if (!platform.httpClient) platform.httpClient = std::make_shared<CurlHttpClient>();
    if (!platform.mainQueue) platform.mainQueue = HostRunLoop::onOwnThread();
    if (!platform.workers) platform.workers = std::make_shared<WorkerThreads>();
    if (!platform.device) platform.device = std::make_shared<PosixDevice>();
    if (!platform.log) platform.log = std::make_shared<StandardErrorLog>();
    return std::make_unique<Platform>(std::move(platform));
}

/// The platform that is in force afterwards: this one, or the one that was there first.
Platform* putInForce(std::unique_ptr<Platform> platform, bool& wasFirst) {
    Platform* before = nullptr;
    wasFirst = inForce.compare_exchange_strong(before, platform.get(), std::memory_order_acq_rel);
    if (wasFirst) keepLoaded();
    return wasFirst ? platform.release() : before;
}

struct OutOfAction {
    Platform machine = outOfActionMachine(*inForce);
};
constinit PerProcess<OutOfAction> outOfAction;

}  // namespace

void Platform::install(Platform platform) {
    bool wasFirst = false;
    if (!inForce.load(std::memory_order_acquire)) putInForce(completed(std::move(platform)), wasFirst);
    if (!wasFirst) throw InvalidArgumentException("a platform is already in use; install one before the first use");
}

Platform& Platform::current() {
    auto* platform = inForce.load(std::memory_order_acquire);
    if (platform) return isOutOfAction() ? outOfAction->machine : *platform;
    bool wasFirst = false;
    return *putInForce(completed({}), wasFirst);
}

}  // namespace harvelstone::platform
