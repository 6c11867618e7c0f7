#pragma once

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/host/HeldAnswer.hpp"
#include "tests/host/HostProcess.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {

/// A real server and a folder for a real host program.
class HostTest : public ::testing::Test {
  protected:
    /// Whatever became of the hosts, all that they left is accounted for, and nothing counts as sent that never came.
    void TearDown() override;

    /// What was uploaded, in the order of arrival; decoded by code that shares nothing with the library's.
    std::vector<Value> documents() const;
    /// What the clicks in all of them say, in the order of arrival.
    std::vector<std::string> clicks() const;
    /// Session and creation time of each, by which a document is known.
    std::vector<std::string> documentNames() const;

    /// How many documents lie in the storage folder.
    std::size_t storedDocuments() const;

    TemporaryFolder documents_;
    LoopbackServer server_;
};

}  // namespace harvelstone::testing
