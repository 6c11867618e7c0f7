// One upload and its answer as a JSON value, for the page.

#include "tools/exchange.hpp"

#include "harvelstone/platform/Calendar.hpp"

namespace harvelstone::tools {

namespace {

constexpr std::size_t longestReplyShown = std::size_t{16} << 10U;

const char* sourceName(ReplySource source) {
    switch (source) {
        case ReplySource::script:
            return "script";
        case ReplySource::misbehaviour:
            return "misbehaviour";
        case ReplySource::collector:
            return "collector";
    }
    return "";
}

Value givenValue(const std::optional<GivenReply>& given) {
    if (!given) return nullptr;
    const auto& reply = given->reply;
    return Dictionary{{"status", reply.status},
                      {"body", reply.body.substr(0, longestReplyShown)},
                      {"bodyBytes", reply.body.size()},
                      {"delay", reply.delay.count()},
                      {"close", reply.closesWithoutAnswer},
                      {"source", sourceName(given->source)},
                      {"milliseconds", given->milliseconds}};
}

}  // namespace

Value exchangeValue(const Exchange& exchange) {
    List headers;
    for (const auto& [name, value] : exchange.head.headers) headers.emplace_back(List{name, value});
    return Dictionary{
        {"number", exchange.number},
        {"arrived", exchange.arrived},
        {"arrivedText", platform::dateString(exchange.arrived)},
        {"path", exchange.head.path},
        {"headers", std::move(headers)},
        {"bytes",
         Dictionary{{"gzip", exchange.sizes.gzip}, {"encoded", exchange.sizes.encoded}, {"json", exchange.sizes.json}}},
        {"json", exchange.json.empty() ? Value() : Value(exchange.json)},
        {"refusal", exchange.refusal.empty() ? Value() : Value(exchange.refusal)},
        {"bodyStart", exchange.bodyStart},
        {"given", givenValue(exchange.given)}};
}

}  // namespace harvelstone::tools
