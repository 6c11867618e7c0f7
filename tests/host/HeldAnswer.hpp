#pragma once

#include <future>
#include <string>

#include "tests/support/LoopbackServer.hpp"

namespace harvelstone::testing {

/// Reads the request, says so, and answers when it is told to; without an answer's text it waits for the client's end.
class HeldAnswer {
  public:
    Behaviour behaviour(std::string answer = "");
    bool hasArrived();  ///< waits for the request, half a minute at most
    void letGo() { mayGo_.set_value(); }

  private:
    std::promise<void> arrived_;
    std::promise<void> mayGo_;
};

}  // namespace harvelstone::testing
