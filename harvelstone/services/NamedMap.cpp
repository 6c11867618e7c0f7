// Named maps: look-ups, puts, and the commit that writes a map's file. Reads and writes "NAME.Harvelstone", writes
// "NAME.tmp-<own>-Harvelstone" on the way, sets damaged files aside. Any thread.

#include "harvelstone/services/NamedMap.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <span>
#include <utility>

#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/map_format.hpp"

namespace harvelstone {

using platform::OpenMode;
using platform::Platform;
using platform::Result;
using platform::SyncPolicy;

namespace {

/// What a map of that name begins with when its file is missing: in a child made by fork the long-lived stores begin as
/// copies of those that its parent's folder holds.
Dictionary firstValues(const std::string& name) {
    const auto folder = parentsStorageFolder();
    if (!folder || !isLongLivedStore(name)) return {};
    auto contents = map_format::readMapFile(*folder + storedFileName(name));
    return contents ? std::move(contents->values) : Dictionary();
}

/// Makes the file that a commit writes, and before it the folder when that is gone. What has its name is removed and
/// never written into: it may be a link to something of somebody else's.
Result<std::unique_ptr<platform::File>> openTemporary(const std::string& path, LaterLines& lines) {
    auto& fileSystem = *Platform::current().fileSystem;
    auto file = fileSystem.open(path, OpenMode::Create);
    if (file) return file;
    const bool mayHelp = isMissing(file.error())
                             ? ensureStorageFolder(lines)
                             : file.error() == std::errc::file_exists && fileSystem.remove(path).ok();
    return mayHelp ? fileSystem.open(path, OpenMode::Create) : std::move(file);
}

/// Renames the file that a commit wrote; what stands in its way and is no file is set aside.
Result<void> renameIntoPlace(const std::string& temporaryPath, const std::string& name, LaterLines& lines) {
    auto& fileSystem = *Platform::current().fileSystem;
    const auto path = storedFilePath(name);
    auto renamed = fileSystem.rename(temporaryPath, path);
    if (renamed || !isNoFile(renamed.error()) || !setAside(name, "no file", lines)) return renamed;
    return fileSystem.rename(temporaryPath, path);
}

Result<void> writeAndRename(const std::string& temporaryPath, const std::string& name, std::string_view text,
                            LaterLines& lines) {
    auto& platform = Platform::current();
    auto file = openTemporary(temporaryPath, lines);
    if (!file) return file.error();
    if (auto written = (*file)->append(std::as_bytes(std::span(text))); !written) return written;
    if (platform.syncPolicy == SyncPolicy::powerLoss)
        if (auto synced = (*file)->sync(); !synced) return synced;
    file->reset();
    if (auto renamed = renameIntoPlace(temporaryPath, name, lines); !renamed) return renamed;
    noteFolderChange();
    return {};
}

void refuseTooDeep(const Dictionary& members) {
    for (const auto& [key, value] : members)
        if (nestingDepth(value) > maximumNestingDepth)
            throw platform::InvalidArgumentException(
                fmt::format("the value for the key \"{}\" is nested too deep", key));
}

}  // namespace

NamedMap::NamedMap(std::string name) : name_(std::move(name)), path_(storedFilePath(name_)) {}

bool NamedMap::load() const {
    LaterLines lines;
    const std::lock_guard lock(valuesMutex_);
    return loadLocked(lines);
}

void NamedMap::setLateMerge(LateMerge merge) {
    const std::lock_guard lock(valuesMutex_);
    lateMerge_ = std::move(merge);
}

bool NamedMap::loadLocked(LaterLines& lines) const {
    if (isLoaded_) return true;
    auto contents = map_format::readMapFile(path_);
    if (!contents && isNoFile(contents.error())) contents = map_format::MapContents{{}, "no file"};
    if (!contents && !isMissing(contents.error())) return noteUnread("read", contents.error(), lines);
    if (contents && !contents->damage.empty())
        if (auto moved = setAside(name_, contents->damage, lines); !moved)
            return noteUnread("set aside", moved.error(), lines);
    // Keeps what was put while the file could not be read.
    if (contents && lateMerge_ && readFailureLogged_) lateMerge_(values_, contents->values);
    values_.merge(contents ? std::move(contents->values) : firstValues(name_));
    isLoaded_ = true;
    return true;
}

bool NamedMap::noteUnread(std::string_view what, const std::error_code& error, LaterLines& lines) const {
    if (!std::exchange(readFailureLogged_, true))
        lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : could not {} {} : {}", what, storedFileName(name_),
                              platform::describe(error)));
    return false;
}

std::optional<Value> NamedMap::get(std::string_view key) const {
    LaterLines lines;
    const std::lock_guard lock(valuesMutex_);
    loadLocked(lines);
    return findValue(values_, key);
}

bool NamedMap::has(std::string_view key) const {
    LaterLines lines;
    const std::lock_guard lock(valuesMutex_);
    loadLocked(lines);
    const auto found = values_.find(key);
    return found != values_.end() && !found->second.isNull();
}

void NamedMap::read(const std::function<void(const Dictionary& held)>& reader) const {
    LaterLines lines;
    const std::lock_guard lock(valuesMutex_);
    loadLocked(lines);
    reader(values_);
}

Dictionary NamedMap::getMutableDictionary(std::string_view key) const {
    auto value = get(key);
    if (!value || !value->dictionary()) return {};
    return std::move(*value->dictionary());
}

List NamedMap::getMutableArray(std::string_view key) const {
    auto value = get(key);
    if (!value || !value->list()) return {};
    return std::move(*value->list());
}

void NamedMap::putDictionary(std::string_view key, Dictionary value) { put(key, std::move(value)); }

void NamedMap::putMutableArray(std::string_view key, List value) { put(key, std::move(value)); }

void NamedMap::putInt(std::string_view key, std::int64_t value) { put(key, value); }

void NamedMap::putDouble(std::string_view key, double value) { put(key, value); }

void NamedMap::putString(std::string_view key, std::optional<std::string> value) {
    if (!value) throw platform::InvalidArgumentException(fmt::format("the string for the key \"{}\" is absent", key));
    put(key, std::move(*value));
}

void NamedMap::put(std::string_view key, Value value) {
    Dictionary member;
    member.emplace(key, std::move(value));
    putAll(std::move(member));
}

void NamedMap::putAll(Dictionary&& members) {
    update([&](const Dictionary&) { return std::move(members); });
}

void NamedMap::update(const std::function<Dictionary(const Dictionary& held)>& membersToPut) {
    change([&](Dictionary& held) {
        auto members = membersToPut(held);
        refuseTooDeep(members);
        for (auto& [key, value] : members) {
            const Value sound(key);  // a key's bad bytes are repaired like any text's
            held.insert_or_assign(*sound.string(), std::move(value));
        }
    });
}

void NamedMap::change(const std::function<void(Dictionary& held)>& changer) {
    const StorageBatch scope;
    LaterLines lines;
    {
        const std::lock_guard lock(valuesMutex_);
        loadLocked(lines);
        changer(values_);
        ++version_;
    }
    storage_batch::touch(shared_from_this());
}

void NamedMap::save() {
    const StorageBatch scope;  // its end lets consumption that waited for this map become durable
    storage_batch::noteWrite();
    LaterLines lines;
    if (!Platform::current().fileSystem->exists(path_)) {
        const std::lock_guard lock(valuesMutex_);
        ++version_;
    }
    if (commit(lines))
        syncStorageFolder(lines);
    else
        storage_batch::owe(shared_from_this());
}

void NamedMap::commitAfter(std::shared_ptr<NamedMap> other) {
    const std::lock_guard lock(valuesMutex_);
    before_.push_back(std::move(other));
}

std::string NamedMap::jsonString() const {
    LaterLines lines;
    const std::lock_guard lock(valuesMutex_);
    loadLocked(lines);
    return platform::jsonText(values_);
}

bool NamedMap::commit(LaterLines& lines) {
    const std::lock_guard commitLock(commitMutex_);
    if (!commitThoseBefore(lines)) return false;
    std::string text;
    std::uint64_t version = 0;
    {
        const std::lock_guard lock(valuesMutex_);
        if (!loadLocked(lines)) return false;
        if (version_ == committedVersion_) return true;
        text = platform::jsonText(values_);
        version = version_;
    }
    if (auto written = writeFile(text, lines); !written) {
        if (!std::exchange(writeFailureLogged_, true))
            lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : could not write {} : {}", storedFileName(name_),
                                  platform::describe(written.error())));
        return false;
    }
    committedVersion_ = version;
    writeFailureLogged_ = false;
    return true;
}

bool NamedMap::commitThoseBefore(LaterLines& lines) {
    std::vector<std::shared_ptr<NamedMap>> others;
    {
        const std::lock_guard lock(valuesMutex_);
        others = before_;
    }
    if (others.empty()) return true;
    for (const auto& other : others)
        if (!other->commit(lines)) return false;
    if (!syncStorageFolder(lines)) return false;
    const std::lock_guard lock(valuesMutex_);
    before_.erase(before_.begin(), before_.begin() + static_cast<std::ptrdiff_t>(others.size()));
    return true;
}

Result<void> NamedMap::writeFile(std::string_view text, LaterLines& lines) const {
    if (text.size() > map_format::longestFile) return std::make_error_code(std::errc::file_too_large);
    const auto temporaryPath = temporaryFilePath(name_);
    auto written = writeAndRename(temporaryPath, name_, text, lines);
    // Gives the space back; a file that stays is removed by the next commit.
    if (!written) static_cast<void>(Platform::current().fileSystem->remove(temporaryPath));
    return written;
}

bool NamedMap::isCommitted() {
    const std::lock_guard commitLock(commitMutex_);
    const std::lock_guard lock(valuesMutex_);
    return version_ == committedVersion_;
}

}  // namespace harvelstone
