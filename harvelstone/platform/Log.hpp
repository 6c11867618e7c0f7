#pragma once

#include <string_view>

namespace harvelstone::platform {

/// Where lines of text go. Any thread may call it; a line is never torn by another. It never raises.
class Log {
  public:
    virtual ~Log() = default;

    /// A line that is printed whatever the debug setting.
    virtual void platformLine(std::string_view line) noexcept = 0;
    /// A line of the debug log.
    virtual void debugLine(std::string_view line) noexcept = 0;
};

/// Both kinds of line on standard error.
class StandardErrorLog final : public Log {
  public:
    void platformLine(std::string_view line) noexcept override;
    void debugLine(std::string_view line) noexcept override;
};

}  // namespace harvelstone::platform
