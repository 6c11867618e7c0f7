#pragma once

#include <string>
#include <string_view>

namespace harvelstone {

/// Names on disk: the one place that joins a path.

/// What every file of the storage folder ends with; pruning matches it without the point.
inline constexpr std::string_view FILE_SUFFIX = "Harvelstone";

/// "<Documents>/harvelstone/", with the slash at the end, from the first Documents folder of the device.
std::string storageFolder();

/// "NAME.Harvelstone".
std::string storedFileName(std::string_view name);

/// The full path of the file that keeps the map or the queue of that name. A name that is empty, ".", "..", holds "/"
/// or NUL, or is too long for a file name raises platform::InvalidArgumentException.
std::string storedFilePath(std::string_view name);

/// The inverse of `storedFileName`: "NAME" from "NAME.Harvelstone", "" from every other text.
std::string_view storedName(std::string_view fileName);

/// "NAME.corrupt-<whole seconds>.Harvelstone": what a file that cannot be read is set aside as.
std::string corruptFilePath(std::string_view name, double secondsSince1970);

/// Makes the storage folder if it is missing, once a process while it stands. False when it cannot be made; the reason
/// is logged.
bool ensureStorageFolder();

}  // namespace harvelstone
