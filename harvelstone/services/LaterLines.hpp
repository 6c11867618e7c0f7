#pragma once

#include <string>
#include <utility>
#include <vector>

#include "harvelstone/services/BSDebugger.hpp"

namespace harvelstone {

/// Lines for the debug log that are written when the object goes. Made before a lock is taken, it logs after the lock
/// was given back, so that a log sink of the host's may itself record something.
class LaterLines {
  public:
    LaterLines() = default;
    LaterLines(const LaterLines&) = delete;
    LaterLines& operator=(const LaterLines&) = delete;
    ~LaterLines() {
        for (const auto& line : lines_) BSDebugger::log(line);
    }

    void add(std::string line) { lines_.push_back(std::move(line)); }

  private:
    std::vector<std::string> lines_;
};

}  // namespace harvelstone
