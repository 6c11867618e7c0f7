#include "tests/host/HostTest.hpp"

#include <utility>

namespace harvelstone::testing {
namespace {

std::string textOf(const Dictionary& dictionary, std::string_view key) {
    const auto value = findValue(dictionary, key);
    return value && value->string() ? *value->string() : "";
}

}  // namespace

std::vector<Value> HostTest::documents() const {
    std::vector<Value> documents;
    for (const auto& request : server_.requests()) {
        const SentRequest sent{.request = {}, .body = request.body, .queue = nullptr, .completion = nullptr};
        documents.push_back(sent.document());
    }
    return documents;
}

std::vector<std::string> HostTest::clicks() const {
    std::vector<std::string> clicks;
    for (const auto& document : documents()) {
        const auto section = findValue(*document.dictionary(), "click");
        if (!section || !section->list()) continue;
        for (const auto& record : *section->list()) clicks.push_back(textOf(*record.dictionary(), "button"));
    }
    return clicks;
}

std::vector<std::string> HostTest::documentNames() const {
    std::vector<std::string> names;
    for (const auto& document : documents()) {
        const auto session = findValue(*document.dictionary(), "session");
        const auto created = doubleValue(findValue(*session->dictionary(), "create_time"));
        names.push_back(textOf(*session->dictionary(), "sid") + " " + std::to_string(created));
    }
    return names;
}

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
