#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// A persistent map from text keys to values, kept as one JSON object in the file named after it.
///
/// A put is visible to every holder of the map at once and on disk when the public operation that made it returns (see
/// StorageBatch). A full disk or an I/O error never raises: the map keeps its values in memory, logs one line, and
/// tries again at the next put or `save`. Any thread may use it.
class NamedMap : public std::enable_shared_from_this<NamedMap> {
  public:
    /// Loads the map from its file. A file that is no JSON object is set aside and reported in the log, and the map
    /// starts empty; a missing file is an empty map, and is made by the first put.
    explicit NamedMap(std::string name);
    NamedMap(const NamedMap&) = delete;
    NamedMap& operator=(const NamedMap&) = delete;

    const std::string& name() const { return name_; }

    /// The stored value; absent for a missing key.
    std::optional<Value> get(std::string_view key) const;
    bool has(std::string_view key) const;

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

    /// Writes the map to its file now.
    void save();

    /// The whole map as one JSON object.
    std::string jsonString() const;

  private:
    friend class StorageBatch;

    void put(std::string_view key, Value value);
    /// Writes the file unless it already holds this state; says whether the folder needs a sync.
    bool commit();

    const std::string name_;
    mutable std::mutex valuesMutex_;
    Dictionary values_;
    std::uint64_t version_ = 0;  // counts changes

    std::mutex commitMutex_;
    std::uint64_t committedVersion_ = 0;
    bool failureLogged_ = false;
};

}  // namespace harvelstone
