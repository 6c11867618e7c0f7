#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Result.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

class LaterLines;

/// A persistent map from text keys to values, kept as one JSON object in the file named after it.
///
/// A put is visible to every holder of the map at once and on disk when the public operation that made it returns (see
/// StorageBatch). A full disk or an I/O error never raises: the map keeps its values in memory, logs one line, and
/// tries again at the end of each later operation that writes. Any thread may use it.
///
/// A file that is no JSON object is set aside and reported in the log, and the map starts empty; a missing file is an
/// empty map, and is made by the first put. A file that is there but cannot be read is never written over: each use of
/// the map tries to read it again, and once it can be read, what was put meanwhile goes over what the file holds.
class NamedMap : public std::enable_shared_from_this<NamedMap> {
  public:
    /// Names the map; the first use reads its file. A name that cannot be a file name raises
    /// platform::InvalidArgumentException. Held by a shared pointer always (see TinyMap).
    explicit NamedMap(std::string name);
    NamedMap(const NamedMap&) = delete;
    NamedMap& operator=(const NamedMap&) = delete;

    const std::string& name() const { return name_; }

    /// Reads the file now, unless that was done; false when it is there and cannot be read now.
    bool load() const;

    /// Joins what was put while the file could not be read with what the file turns out to hold; a key that both have
    /// goes to what was put otherwise. Called with the map locked, before anything is written.
    using LateMerge = std::function<void(Dictionary& put, const Dictionary& stored)>;
    void setLateMerge(LateMerge merge);

    /// The stored value; absent for a missing key.
    std::optional<Value> get(std::string_view key) const;
    bool has(std::string_view key) const;
    /// Shows the members that are there, without a copy of any. The function runs with the map locked.
    void read(const std::function<void(const Dictionary& held)>& reader) const;

    /// A copy to change; it reaches the map only through a put. Empty for a missing key or a value of another kind.
    Dictionary getMutableDictionary(std::string_view key) const;
    List getMutableArray(std::string_view key) const;

    /// Each replaces what was there. A value nested deeper than `maximumNestingDepth`, an absent string, or NaN raises
    /// platform::InvalidArgumentException and changes nothing.
    void putDictionary(std::string_view key, Dictionary value);
    void putMutableArray(std::string_view key, List value);
    void putInt(std::string_view key, std::int64_t value);
    void putDouble(std::string_view key, double value);
    void putString(std::string_view key, std::optional<std::string> value);
    /// Several at once: whoever reads or writes the map finds all of them or none.
    void putAll(Dictionary&& members);
    /// Puts what the function makes of the members that are there, in one step: nothing is put in between. The function
    /// runs with the map locked: it works on values alone. If it raises, nothing is changed.
    void update(const std::function<Dictionary(const Dictionary& held)>& membersToPut);
    /// The same for members that are changed where they stand, without a copy. From its first change on the function
    /// must not raise, and what it makes of a value must be one that a put would take.
    void change(const std::function<void(Dictionary& held)>& changer);

    /// Writes the map to its file now, whatever scope is open; nothing when the file holds this state already.
    void save();

    /// From now on this map's file is only written when the other's has been.
    void commitAfter(std::shared_ptr<NamedMap> other);

    /// The whole map as one JSON object.
    std::string jsonString() const;

  private:
    friend class StorageBatch;

    void put(std::string_view key, Value value);
    /// Reads the file unless that was done; false when it is there and cannot be read. Called with the values locked.
    bool loadLocked(LaterLines& lines) const;
    /// Logs, once, why the file is not read; gives false.
    bool noteUnread(std::string_view what, const std::error_code& error, LaterLines& lines) const;
    /// Writes the file unless it already holds this state. False when the file does not hold it afterwards. One commit
    /// runs at a time, and each takes the newest state, so an older state never follows a newer one.
    bool commit(LaterLines& lines);
    /// False when one of the maps that this one waits for is not safely on disk.
    bool commitThoseBefore(LaterLines& lines);
    platform::Result<void> writeFile(std::string_view text, LaterLines& lines) const;
    bool isCommitted();

    const std::string name_;
    const std::string path_;

    mutable std::mutex valuesMutex_;
    mutable bool isLoaded_ = false;
    mutable bool readFailureLogged_ = false;
    LateMerge lateMerge_;
    mutable Dictionary values_;
    std::uint64_t version_ = 0;  // counts changes
    std::vector<std::shared_ptr<NamedMap>> before_;

    std::mutex commitMutex_;  // taken before valuesMutex_
    std::uint64_t committedVersion_ = 0;
    bool writeFailureLogged_ = false;
};

}  // namespace harvelstone
