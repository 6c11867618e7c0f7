#pragma once

#include <chrono>
#include <optional>

namespace harvelstone::platform {

/// When the C library is to look which time zone it is now: a device that travels changes its zone while the app runs.
/// With the variable TZ the zone is the process's own, and a look costs nothing. Without it the zone is the system's,
/// and a look at its file takes longer than all the rest of a date: then one a second is enough. One thread at a time.
class ZoneWatch {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    bool isLookDue(bool isZoneOfProcess, TimePoint now) {
        const bool isDue = isZoneOfProcess || !looked_ || now - *looked_ >= std::chrono::seconds(1);
        if (isZoneOfProcess)
            looked_.reset();  // without the variable again, the system's zone has not been looked at
        else if (isDue)
            looked_ = now;
        return isDue;
    }

  private:
    std::optional<TimePoint> looked_;  // at the system's zone
};

}  // namespace harvelstone::platform
