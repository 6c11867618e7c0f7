#include "harvelstone/platform/HttpClient.hpp"

#include <algorithm>
#include <cstring>

namespace harvelstone::platform {

std::size_t MemoryBodyStream::read(std::span<char> buffer) {
    const auto count = std::min(buffer.size(), bytes_.size() - position_);
    if (count > 0) std::memcpy(buffer.data(), bytes_.data() + position_, count);
    position_ += count;
    return count;
}

}  // namespace harvelstone::platform
