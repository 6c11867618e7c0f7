#pragma once

#include <optional>
#include <string>

#include "tests/simulation/Random.hpp"

namespace harvelstone::testing {

/// What the simulated network and server make of a request, and what the component has to understand by it.
struct Answer {
    bool raisesAtStart = false;       ///< the request cannot even be started
    double latency = 0;               ///< seconds
    int status = 200;                 ///< 0: there was no answer
    std::optional<std::string> body;  ///< absent: no answer

    // What it says.
    bool asksForRepeat = false;
    std::optional<bool> isTrafficLimitExceeded;
    std::optional<bool> isSendAllowed;
    std::optional<double> waitSeconds;

    /// "{}" after a moment.
    static Answer good();
    /// One of every kind.
    static Answer drawn(Random& random);
};

}  // namespace harvelstone::testing
