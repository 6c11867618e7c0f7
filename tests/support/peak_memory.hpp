#pragma once

#include <cstddef>
#include <functional>

namespace harvelstone::testing {

/// How far the resident memory of this process rises above its present size while the call runs, in bytes. 0 under a
/// sanitizer, whose own memory would drown it.
std::size_t memoryPeakDuring(const std::function<void()>& call);

}  // namespace harvelstone::testing
