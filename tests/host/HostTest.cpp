#include "tests/host/HostTest.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/support/stored_ledger.hpp"

namespace harvelstone::testing {
namespace {

std::string textOf(const Dictionary& dictionary, std::string_view key) {
    const auto value = findValue(dictionary, key);
    return value && value->string() ? *value->string() : "";
}

}  // namespace

void HostTest::TearDown() {
    const std::filesystem::path folder = documents_.path() + "/harvelstone";
    if (!std::filesystem::exists(folder)) return;  // no host has begun
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        if (entry.is_regular_file())
            files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    const auto ledger = ledgerOf(files);
    expectBalanced(ledger);
    EXPECT_LE(ledger.documents.sent, server_.requests().size());
}

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

std::size_t HostTest::storedDocuments() const {
    constexpr std::size_t sessionIdLength = 32;
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(documents_.path() + "/harvelstone"))
        if (entry.path().filename().string().find('_') == sessionIdLength) ++count;
    return count;
}

}  // namespace harvelstone::testing
