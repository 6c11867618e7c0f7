// The process-wide flags of the SDK, in memory only. Any thread.

#include "harvelstone/services/HarvelstoneCore.hpp"

#include <atomic>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

namespace {

constinit std::atomic<bool> sdkLockState{false};
constinit std::atomic<bool> useImei{false};

// Told once: by the process that the host told it to.
constinit platform::PerProcess<std::atomic<bool>> appOpen;

}  // namespace

bool HarvelstoneCore::getFlagSdkLockState() { return sdkLockState.load(); }

void HarvelstoneCore::setFlagSdkLockState(bool on) { sdkLockState.store(on); }

bool HarvelstoneCore::getAppOpenFlag() { return appOpen->load(); }

void HarvelstoneCore::setAppOpenFlag(bool opened) { appOpen->store(opened); }

bool HarvelstoneCore::getFlagUseImei() { return useImei.load(); }

void HarvelstoneCore::setFlagUseImei(bool use) { useImei.store(use); }

}  // namespace harvelstone
