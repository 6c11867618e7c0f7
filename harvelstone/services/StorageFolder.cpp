// Names and paths of the storage folder, the making and the syncing of the folder, and the setting aside of files that
// cannot be read. Touches the folder itself and "NAME.corrupt-<time>.Harvelstone". Any thread.

#include "harvelstone/services/StorageFolder.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/FolderClaim.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone {

using platform::Platform;
using platform::SyncPolicy;

namespace {

constexpr std::string_view corruptMark = ".corrupt-";
constexpr std::string_view temporaryMark = ".tmp-";
constexpr std::string_view forkedStart = "forked-";

constexpr std::array<std::string_view, 6> longLivedStores{
    "DocumentDB", "current_profile_file", "current_config_file", "BS_SESSION_MAP", "BS_SESSION", "postbackDB",
};

/// Counts the folder's changes, and how many of them are known to be durable.
struct FolderChanges {
    std::atomic<std::uint64_t> noted = 0;
    std::mutex mutex;
    std::uint64_t synced = 0;
    std::set<std::string> parents;  // which became fuller when the folder was made, and are to be synced, too
    std::set<std::string> failed;   // parents, or the folder itself: the latest sync failed, and was logged
    std::atomic<bool> hasFailed = false;
};
constinit platform::PerProcess<FolderChanges> folderChanges;

/// Beside those that are owed already, from an earlier making or by another thread.
void noteParents(const std::vector<std::string>& parents) {
    auto& changes = *folderChanges;
    const std::lock_guard lock(changes.mutex);
    changes.parents.insert(parents.begin(), parents.end());
    ++changes.noted;
}

/// A folder, and the claim that keeps it from being taken over by another process.
struct ClaimedFolder {
    std::string path;
    std::optional<platform::FolderClaim> claim;
};

/// Makes a folder for a forked child. One that another process claims before this one can is taken away again, as one
/// that nobody uses any more; then the next is made.
ClaimedFolder makeForkedFolder(const std::string& main) {
    auto& platform = Platform::current();
    constexpr int attempts = 10;
    for (int attempt = 1;; ++attempt) {
        ClaimedFolder made{fmt::format("{}{}{}/", main, forkedStart, platform.device->uuidText()), std::nullopt};
        // What fails is tried again by the first commit, and logged there.
        if (!platform.fileSystem->makeFolder(made.path)) return made;
        if (auto claim = platform::FolderClaim::of(made.path)) made.claim.emplace(*std::move(claim));
        if (attempt < attempts && !(made.claim && platform.fileSystem->exists(made.path))) continue;
        noteParents({main});
        return made;
    }
}

/// The folder that this process stores into.
struct Folder {
    Folder()
        : main(Platform::current().device->documentsDirectories().front() + "/harvelstone/"),
          ours{main, std::nullopt} {}

    /// A child's own, claimed for as long as it runs: what it leaves is taken over by the next process that uses the
    /// main folder. Or its parent's, if the child has taken over from it.
    explicit Folder(platform::OfParent<Folder> parents)
        : main(parents.object.main),
          ours(platform::hasTakenOver() ? ClaimedFolder{parents.object.ours.path, std::nullopt}
                                        : makeForkedFolder(main)) {}

    const std::string main;
    const ClaimedFolder ours;
};
constinit platform::PerProcess<Folder> folder;

/// What tells the temporary files of this process from those of others that commit the same map: the random part of a
/// UUID that a name of the longest kind has room for.
struct OwnPart {
    const std::string text = Platform::current().device->uuidText().substr(0, 18);
};
constinit platform::PerProcess<OwnPart> ownPart;

std::atomic<bool> folderFailureLogged = false;

std::string pathTo(std::string_view fileName) { return storageFolder() + std::string(fileName); }

/// Why nothing can have the name, if so.
std::optional<std::string> refusalOfName(std::string_view name) {
    if (name.empty()) return "a stored name is empty";
    if (name == "." || name == "..") return fmt::format("\"{}\" cannot be a stored name", name);
    if (name.find('/') != std::string_view::npos || name.find('\0') != std::string_view::npos)
        return "a stored name holds \"/\" or NUL";
    if (name.size() > longestStoredName)
        return fmt::format("a stored name of {} bytes is too long, {} is the limit", name.size(), longestStoredName);
    return std::nullopt;
}

/// The folders that are missing, or become fuller, when the path is made: each parent up to one that stands.
std::vector<std::string> parentsToSync(platform::FileSystem& fileSystem, std::string path) {
    std::vector<std::string> parents;
    while (!path.empty() && path.back() == '/') path.pop_back();
    for (auto slash = path.rfind('/'); slash != std::string_view::npos && slash > 0; slash = path.rfind('/')) {
        path.resize(slash);
        parents.push_back(path);
        if (fileSystem.exists(path)) break;
    }
    return parents;
}

}  // namespace

const std::string& storageFolder() { return folder->ours.path; }

std::optional<std::string> parentsStorageFolder() {
    const auto& [main, ours] = *folder;
    return ours.path == main ? std::nullopt : std::optional(main);
}

bool isForkedFolder(std::string_view fileName) { return fileName.starts_with(forkedStart); }

bool isLongLivedStore(std::string_view name) {
    return std::find(longLivedStores.begin(), longLivedStores.end(), name) != longLivedStores.end();
}

std::string storedFileName(std::string_view name) { return std::string(name).append(".").append(FILE_SUFFIX); }

std::string storedFilePath(std::string_view name) {
    if (const auto refusal = refusalOfName(name)) throw platform::InvalidArgumentException(*refusal);
    return pathTo(storedFileName(name));
}

bool canBeStored(std::string_view name) { return !refusalOfName(name); }

std::string_view storedName(std::string_view fileName) {
    const std::size_t ending = FILE_SUFFIX.size() + 1;
    if (fileName.size() <= ending || !fileName.ends_with(FILE_SUFFIX)) return {};
    if (fileName[fileName.size() - ending] != '.') return {};
    return fileName.substr(0, fileName.size() - ending);
}

std::string temporaryFilePath(std::string_view name) {
    return pathTo(fmt::format("{}{}{}-{}", name, temporaryMark, ownPart->text, FILE_SUFFIX));
}

std::string corruptFilePath(std::string_view name, double secondsSince1970) {
    return pathTo(storedFileName(fmt::format("{}{}{:.0f}", name, corruptMark, std::floor(secondsSince1970))));
}

std::string_view corruptFileOwner(std::string_view fileName) {
    const auto name = storedName(fileName);
    const auto mark = name.rfind(corruptMark);
    if (mark == std::string_view::npos || mark == 0) return {};
    const auto seconds = name.substr(mark + corruptMark.size());
    const bool isNumber = !seconds.empty() && seconds.find_first_not_of("0123456789") == std::string_view::npos;
    return isNumber ? name.substr(0, mark) : std::string_view();
}

bool ensureStorageFolder(LaterLines& lines) {
    auto& platform = Platform::current();
    if (platform.fileSystem->exists(storageFolder())) return true;
    const auto parents = parentsToSync(*platform.fileSystem, storageFolder());
    if (auto made = platform.fileSystem->makeFolder(storageFolder()); !made) {
        if (!folderFailureLogged.exchange(true))
            lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : could not make the folder {} : {}", storageFolder(),
                                  platform::describe(made.error())));
        return false;
    }
    folderFailureLogged = false;
    noteParents(parents);
    return true;
}

platform::Result<void> setAside(std::string_view name, std::string_view what, LaterLines& lines) {
    auto& platform = Platform::current();
    double seconds = std::max(0.0, platform.clock->now());
    auto corruptPath = corruptFilePath(name, seconds);
    while (platform.fileSystem->exists(corruptPath)) corruptPath = corruptFilePath(name, ++seconds);
    const auto moved = platform.fileSystem->rename(storedFilePath(name), corruptPath);
    if (!moved && !isMissing(moved.error())) return moved;
    lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : {} is {}, set aside as {}", storedFileName(name), what,
                          corruptPath.substr(storageFolder().size())));
    // At once: the new file must not take the name before the old one has left it.
    noteFolderChange();
    syncStorageFolder(lines);
    return {};
}

bool isMissing(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

bool isNoFile(const std::error_code& error) {
    return error == std::errc::too_many_symbolic_link_levels || error == std::errc::is_a_directory ||
           error == std::errc::not_supported || error == std::errc::no_such_device_or_address;
}

void noteFolderChange() { ++folderChanges->noted; }

bool owesFolderSync() { return folderChanges->hasFailed; }

bool syncStorageFolder(LaterLines& lines) {
    auto& platform = Platform::current();
    if (platform.syncPolicy == SyncPolicy::processExit) return true;
    const auto& ours = storageFolder();  // before the lock: the making of a child's folder takes it, too
    auto& changes = *folderChanges;
    const std::lock_guard lock(changes.mutex);
    const auto target = changes.noted.load();
    const auto sync = [&](const std::string& path) {
        const auto synced = platform.fileSystem->syncFolder(path);
        if (synced)
            changes.failed.erase(path);
        else if (changes.failed.insert(path).second)
            lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : could not sync the folder {} : {}", path,
                                  platform::describe(synced.error())));
        return synced.ok();
    };
    // A parent that cannot be synced is tried again, but holds nothing back: only a loss of power would tell.
    std::erase_if(changes.parents, sync);
    const bool isSynced = changes.synced == target || sync(ours);
    if (isSynced) changes.synced = target;
    changes.hasFailed = !changes.failed.empty();
    return isSynced;
}

}  // namespace harvelstone
