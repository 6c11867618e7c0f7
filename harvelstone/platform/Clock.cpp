#include "harvelstone/platform/Clock.hpp"

#include <chrono>

namespace harvelstone::platform {

double SystemClock::now() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace harvelstone::platform
