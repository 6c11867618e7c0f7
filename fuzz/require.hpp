#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace harvelstone::fuzz {

/// What a target is given, as text.
inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Raises what no code of ours catches, unless the property holds. `property` is a sentence that says what should be.
inline void require(bool holds, const char* property) {
    if (!holds) throw std::logic_error(property);
}

}  // namespace harvelstone::fuzz
