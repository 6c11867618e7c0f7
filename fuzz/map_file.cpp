// Any bytes as a map's file: read or set aside, put to, saved and read again.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/map_format.hpp"

#include "fuzz/machine.hpp"
#include "fuzz/other_json.hpp"
#include "fuzz/require.hpp"

namespace harvelstone::fuzz {
namespace {

constexpr const char* name = "map";

std::string fileOf(const testing::MemoryFileSystem& disk) { return disk.image().content(storedFilePath(name)); }

/// Absent for bytes that are no map.
std::optional<Dictionary> otherwiseRead(std::string_view bytes) {
    auto value = otherwiseParsed(bytes, platform::storedJsonDepthLimit);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    return *value->dictionary();
}

Dictionary membersOf(std::string_view text) {
    auto contents = map_format::readMapText(text);
    require(contents.damage.empty(), "what a map writes or tells is a map");
    return contents.values;
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone;
    using namespace harvelstone::fuzz;
    machine();
    const auto bytes = textOf(data, size);
    const auto otherwise = otherwiseRead(bytes);
    auto expected = otherwise.value_or(Dictionary());

    const auto disk = diskWith(name, bytes);
    const auto map = std::make_shared<NamedMap>(name);
    require(membersOf(map->jsonString()) == expected, "a map has what its file says");
    require(contentSetAside(*disk, name) == (otherwise ? "" : bytes), "a damaged file is set aside, a sound one not");
    require(fileOf(*disk) == (otherwise ? bytes : ""), "reading changes no sound file");

    map->putString("added", "text");
    expected.insert_or_assign("added", "text");
    const auto written = fileOf(*disk);
    require(membersOf(written) == expected, "a put is on disk, with all that was there");
    require(otherwiseRead(written) == expected, "another reader reads the same from the file");

    const auto reloaded = std::make_shared<NamedMap>(name);
    require(reloaded->jsonString() == written, "a map that is read again has what its file says");
    reloaded->putString("added", "text");
    require(fileOf(*disk) == written, "the same values are the same bytes");
    return 0;
}
