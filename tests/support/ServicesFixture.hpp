#pragma once

#include <string>
#include <utility>

#include "harvelstone/services/BSDebugger.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {

/// The faked machine for tests that use the services: the same, with the debug log on.
struct Machine : TestPlatform {
    Machine() { BSDebugger::setEnabled(true); }
    explicit Machine(std::string documentsFolder) : TestPlatform(std::move(documentsFolder)) {
        BSDebugger::setEnabled(true);
    }
};

}  // namespace harvelstone::testing
