#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace harvelstone {

/// The debug log. Any thread may use it.
class BSDebugger {
  public:
    /// Writes one debug line as it is, if the debug log is on. Never fails.
    static void log(std::string_view line) noexcept;

    /// The same for a line that is costly to make: it is made only if the debug log is on.
    template <std::invocable MakeLine>
    static void log(MakeLine makeLine) {
        if (isEnabled()) log(std::string_view(std::string(makeLine())));
    }

    /// Off until the configuration's debug setting or the host switches it on.
    static void setEnabled(bool enabled) noexcept;
    static bool isEnabled() noexcept;
};

}  // namespace harvelstone
