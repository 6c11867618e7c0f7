// Reading of map files ("NAME.Harvelstone", one JSON object), without changing them. Any thread.

#include "harvelstone/services/map_format.hpp"

#include <utility>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::map_format {

namespace {

platform::Result<std::string> readWhole(platform::File& file, std::uint64_t size) {
    std::string text(static_cast<std::size_t>(size), '\0');
    std::size_t filled = 0;
    while (filled < text.size()) {
        auto count = file.read(std::as_writable_bytes(std::span(text)).subspan(filled), filled);
        if (!count) return count.error();
        if (*count == 0) break;
        filled += *count;
    }
    text.resize(filled);
    return text;
}

}  // namespace

MapContents readMapText(std::string_view text) {
    auto value = platform::parseJson(text, platform::storedJsonDepthLimit);
    if (!value || !value->dictionary()) return {{}, "no JSON object"};
    return {std::move(*value->dictionary()), ""};
}

platform::Result<MapContents> readMapFile(const std::string& path) {
    auto file = platform::Platform::current().fileSystem->open(path, platform::OpenMode::Read);
    if (!file) return file.error();
    auto size = (*file)->size();
    if (!size) return size.error();
    if (*size > longestFile) return MapContents{{}, "too long for a map"};
    auto text = readWhole(**file, *size);
    if (!text) return text.error();
    return readMapText(*text);
}

}  // namespace harvelstone::map_format
