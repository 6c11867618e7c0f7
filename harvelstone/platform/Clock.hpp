#pragma once

namespace harvelstone::platform {

/// The wall clock. Any thread may read it.
class Clock {
  public:
    virtual ~Clock() = default;

    /// Seconds since 1970, with fraction. May jump when the user sets the clock.
    virtual double now() const = 0;
};

/// The system's own clock.
class SystemClock final : public Clock {
  public:
    double now() const override;
};

}  // namespace harvelstone::platform
