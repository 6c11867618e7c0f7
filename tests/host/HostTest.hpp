#pragma once

#include <future>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/host/HostProcess.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {

/// A real server and a folder for a real host program.
class HostTest : public ::testing::Test {
  protected:
    /// What was uploaded, in the order of arrival; decoded by code that shares nothing with the library's.
    std::vector<Value> documents() const;
    /// What the clicks in all of them say, in the order of arrival.
    std::vector<std::string> clicks() const;
    /// Session and creation time of each, by which a document is known.
    std::vector<std::string> documentNames() const;

    TemporaryFolder documents_;
    LoopbackServer server_;
};

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
