#pragma once

#include <string>
#include <vector>

namespace harvelstone::platform {

/// What the device and the app's surroundings tell. Any thread may call it.
class Device {
  public:
    virtual ~Device() = default;

    /// The user's Documents folders, best first, without a slash at the end. Never empty.
    virtual std::vector<std::string> documentsDirectories() const = 0;
    /// The identifier of the app that the library is linked into.
    virtual std::string bundleIdentifier() const = 0;
    /// A fresh random UUID: 36 characters, upper case.
    virtual std::string uuidText() const = 0;
    virtual bool isConnectedToNetwork() const = 0;
    /// "wifi", "ethernet", "cellular" or "none".
    virtual std::string connectionType() const = 0;

    virtual std::string operatingSystem() const = 0;  ///< name and version
    virtual std::string machine() const = 0;          ///< hardware name
    virtual std::string language() const = 0;         ///< ISO 639 code, "en" when unknown
    virtual std::string country() const = 0;          ///< ISO 3166 code, "" when unknown
};

/// A POSIX system: XDG Documents folder, program name, libuuid, the kernel's list of interfaces, the locale.
class PosixDevice final : public Device {
  public:
    std::vector<std::string> documentsDirectories() const override;
    std::string bundleIdentifier() const override;
    std::string uuidText() const override;
    bool isConnectedToNetwork() const override;
    std::string connectionType() const override;
    std::string operatingSystem() const override;
    std::string machine() const override;
    std::string language() const override;
    std::string country() const override;
};

}  // namespace harvelstone::platform
