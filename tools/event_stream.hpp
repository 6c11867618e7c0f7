#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/inspection.hpp"

namespace harvelstone::tools {

/// What one client of the stream of changes is sent, as server-sent events: first "hello" with the state, then every
/// change from the beginning, or from where the client broke off.
class EventStream {
  public:
    /// `series` tells the events of this collector from those of others that the client may have known before;
    /// `lastEventId` is what the client says it has seen, empty for nothing.
    EventStream(Inspection& inspection, std::string series, std::string_view lastEventId);

    /// The text to send next; empty when nothing has changed for a while.
    std::string next();
    /// False once the collector ends.
    bool goesOn() const { return !inspection_.hasEnded(); }

  private:
    std::string hello() const;

    Inspection& inspection_;
    std::string series_;
    std::uint64_t version_ = 0;
    bool isGreeted_ = false;
};

}  // namespace harvelstone::tools
