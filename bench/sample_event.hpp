#pragma once

#include <string>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::bench {

/// What `setEvent` takes.
struct SampleEvent {
    std::string type;
    std::string name;
    std::string value;
};

/// One whose record is `sampleEventSize` bytes of JSON.
SampleEvent sampleEvent();

inline constexpr std::size_t sampleEventSize = 300;

/// The record that `setEvent` makes of it.
Dictionary sampleEventRecord();
std::string sampleEventText();

}  // namespace harvelstone::bench
