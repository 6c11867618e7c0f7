#pragma once

#include <string>

namespace harvelstone::bench {

/// The folder that the benchmarks' files lie in; removed at the end.
const std::string& benchFolder();

}  // namespace harvelstone::bench
