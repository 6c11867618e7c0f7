#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "harvelstone/platform/Result.hpp"
#include "harvelstone/platform/Value.hpp"

/// The file of a map: one JSON object in UTF-8, described in docs/storage.md. These functions change no file.
namespace harvelstone::map_format {

/// A longer file is not read, a longer text not written: reading takes up to ten times as much memory.
inline constexpr std::uint64_t longestFile = 64U << 20U;

struct MapContents {
    Dictionary values;
    std::string damage;  ///< why the values are not the file's, as in "the file is ..."; "" when it is sound
};

MapContents readMapText(std::string_view text);

/// Reads the file at the path. The error is the machine's; a file that is no map is no error but damage.
platform::Result<MapContents> readMapFile(const std::string& path);

}  // namespace harvelstone::map_format
