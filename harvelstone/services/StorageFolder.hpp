#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "harvelstone/platform/Result.hpp"
#include "harvelstone/services/LaterLines.hpp"

namespace harvelstone {

/// Names on disk: the one place that joins a path.

/// What every file of the storage folder ends with; pruning matches it without the point.
inline constexpr std::string_view FILE_SUFFIX = "Harvelstone";

/// The longest name of a map or a queue, in bytes: with every ending of ours it still fits a file name of 255 bytes.
inline constexpr std::size_t longestStoredName = 214;

/// "<Documents>/harvelstone/", with the slash at the end, from the first Documents folder of the device. A child made
/// by fork whose parent has used that folder works in one of its own inside it, so that neither writes over the other:
/// "<Documents>/harvelstone/forked-<UUID>/".
const std::string& storageFolder();

/// The folder of a forked child, absent elsewhere: where the long-lived stores that its own folder lacks are read from.
std::optional<std::string> parentsStorageFolder();

/// Whether a file of that name in the storage folder is the folder of a forked child.
bool isForkedFolder(std::string_view fileName);

/// Whether the name is that of a map that lives as long as the app: DocumentDB, current_profile_file, ...
bool isLongLivedStore(std::string_view name);

/// "NAME.Harvelstone".
std::string storedFileName(std::string_view name);

/// The full path of the file that keeps the map or the queue of that name. A name that is empty, ".", "..", holds "/"
/// or NUL, or is longer than `longestStoredName` raises platform::InvalidArgumentException.
std::string storedFilePath(std::string_view name);

/// Whether a map or a queue can have the name, so that `storedFilePath` does not raise.
bool canBeStored(std::string_view name);

/// The inverse of `storedFileName`: "NAME" from "NAME.Harvelstone", "" from every other text.
std::string_view storedName(std::string_view fileName);

/// "NAME.tmp-<own>-Harvelstone": what a commit writes before it renames. No other process writes a file of this name,
/// and no map and no queue can have one, since it lacks the point before the suffix; pruning still collects one that a
/// crash left.
std::string temporaryFilePath(std::string_view name);

/// "NAME.corrupt-<whole seconds>.Harvelstone": what a file that cannot be read is set aside as.
std::string corruptFilePath(std::string_view name, double secondsSince1970);

/// The inverse, for a file's name: "NAME", or "" from every other text.
std::string_view corruptFileOwner(std::string_view fileName);

/// Makes the storage folder, and its missing parents, if it is not there. False when it cannot be made; the reason is
/// logged, once until it can.
bool ensureStorageFolder(LaterLines& lines);

/// Moves the file of that name to its corrupt path, where nothing is overwritten, and logs what it "is". After an
/// error, which is not logged, it stays where it was.
platform::Result<void> setAside(std::string_view name, std::string_view what, LaterLines& lines);

/// Whether something could not be opened because nothing has its name.
bool isMissing(const std::error_code& error);

/// Whether something could not be opened or replaced because it is no file of ours: a link, which is never followed, a
/// folder, a pipe, a device. It never will be one, so it is set aside.
bool isNoFile(const std::error_code& error);

/// Says that an entry of the storage folder was made, renamed or removed.
void noteFolderChange();

/// Makes every change noted so far durable: one call to the machine for all of them, none when there is nothing to do
/// or the sync policy asks for none. False when that failed; the next call tries again. Logged once a folder until it
/// works.
bool syncStorageFolder(LaterLines& lines);

/// Whether the latest call failed, so that another one is due.
bool owesFolderSync();

}  // namespace harvelstone
