#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tests/support/MemoryFileSystem.hpp"

namespace harvelstone::testing {

/// A way in which calls on the disk fail.
struct FaultKind {
    std::string name;
    std::errc error;
    bool isShortWrite = false;

    /// Whether the call of that name can fail so.
    bool canMeet(std::string_view call) const {
        return isShortWrite ? call == "append" : call != "exists" && call != "isDeletable";
    }
    DiskFault fault() const {
        return {.error = std::make_error_code(error), .bytesWritten = isShortWrite ? std::size_t{20} : std::size_t{0}};
    }
};

inline const std::vector<FaultKind> faultKinds{
    {"IoError", std::errc::io_error},           {"FullDisk", std::errc::no_space_on_device},
    {"Interruption", std::errc::interrupted},   {"TooManyFiles", std::errc::too_many_files_open},
    {"NoRights", std::errc::permission_denied}, {"ShortWrite", std::errc::no_space_on_device, /*isShortWrite=*/true},
};

}  // namespace harvelstone::testing
