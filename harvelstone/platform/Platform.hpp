#pragma once

#include <memory>

#include "harvelstone/platform/Clock.hpp"
#include "harvelstone/platform/Device.hpp"
#include "harvelstone/platform/FileSystem.hpp"
#include "harvelstone/platform/HttpClient.hpp"
#include "harvelstone/platform/Log.hpp"
#include "harvelstone/platform/RunLoop.hpp"

namespace harvelstone::platform {

/// What acknowledged data survives.
enum class SyncPolicy {
    powerLoss,    ///< a loss of power: files and folders are synced
    processExit,  ///< the end of the process, however it ends: nothing is synced
};

/// Everything that the library needs of the machine, in one bundle.
///
/// Installed once, before the library is first used. A member left empty gets its default: the system's clock, POSIX
/// files, libcurl, a main queue on a thread of its own (`HostRunLoop::onOwnThread()`), worker threads, standard error.
struct Platform {
    std::shared_ptr<Clock> clock;
    std::shared_ptr<FileSystem> fileSystem;
    std::shared_ptr<HttpClient> httpClient;
    std::shared_ptr<RunLoop> mainQueue;
    std::shared_ptr<Workers> workers;
    std::shared_ptr<Device> device;
    std::shared_ptr<Log> log;
    SyncPolicy syncPolicy = SyncPolicy::powerLoss;

    /// Puts the platform in force for the rest of the process. Once one is in use (installed, or the defaults taken by
    /// the first `current`), it raises InvalidArgumentException. A child made by fork has its parent's.
    static void install(Platform platform);

    /// The platform in force; the defaults, if none was installed. Any thread; never destroyed. In a child that was
    /// made in the middle of an operation (see HostCall) it is one that does nothing.
    static Platform& current();
};

}  // namespace harvelstone::platform
