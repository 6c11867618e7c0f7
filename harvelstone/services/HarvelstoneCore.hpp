#pragma once

namespace harvelstone {

/// Process-wide flags of the SDK. Any thread may use them; all are false at start.
class HarvelstoneCore {
  public:
    /// Whether the number of stored files is logged at each pass.
    static bool getFlagSdkLockState();
    static void setFlagSdkLockState(bool on);

    /// Whether the app was opened since the last document that told so.
    static bool getAppOpenFlag();
    static void setAppOpenFlag(bool opened);

    /// Whether the device's IMEI goes into the session section.
    static bool getFlagUseImei();
    static void setFlagUseImei(bool use);
};

}  // namespace harvelstone
