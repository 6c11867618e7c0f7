#pragma once

#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {

/// A manager that has made its first document, a second ago; the log begins after that.
class SessionTest : public DocumentTest {
  protected:
    SessionTest() {
        manager();
        machine.clock->advance(1);
        machine.log->clear();
    }

    static std::optional<Value> stored(const std::string& key) { return (*documentDB)->get(key); }
    static double storedDouble(const std::string& key) { return doubleValue(stored(key)); }
    static std::int64_t storedInteger(const std::string& key) { return integerValue(stored(key)); }

    /// The latest document was made so many days ago.
    void latestDocumentWas(double days) {
        (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), machine.clock->now() - days * secondsOfADay);
    }
};

}  // namespace harvelstone::testing
