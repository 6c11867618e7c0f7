#include "tests/host/HeldAnswer.hpp"

#include <chrono>
#include <utility>

namespace harvelstone::testing {

Behaviour HeldAnswer::behaviour(std::string answer) {
    return [this, answer = std::move(answer)](WireConnection& connection) {
        connection.readBody();
        arrived_.set_value();
        if (answer.empty()) {
            connection.waitForHangUp();
            return;
        }
        mayGo_.get_future().wait_for(std::chrono::seconds(30));
        connection.send(answer);
    };
}

bool HeldAnswer::hasArrived() {
    return arrived_.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

}  // namespace harvelstone::testing
