// The page of the collector and its HTTP API: what is asked for, and who may ask.

#include "tools/inspector_api.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <fmt/format.h>

#include "harvelstone/platform/Json.hpp"

#include "tools/exit_codes.hpp"
#include "tools/inspector_page.hpp"

namespace harvelstone::tools {

namespace {

constexpr std::int64_t mostTimes = 1'000'000;

ApiAnswer json(std::string text) { return {200, "application/json", std::move(text) + "\n"}; }
ApiAnswer refusal(int status, std::string_view why) { return {status, "text/plain", fmt::format("{}\n", why)}; }

bool isAddress(const std::string& name) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    if (name.starts_with('[') && name.ends_with(']')) {
        return ::inet_pton(AF_INET6, name.substr(1, name.size() - 2).c_str(), address.data()) == 1;
    }
    return ::inet_pton(AF_INET, name.c_str(), address.data()) == 1;
}

/// The name in a Host header, without the port, in small letters.
std::string nameIn(std::string_view host) {
    const auto end = host.find(':', host.starts_with('[') ? host.find(']') : 0);
    std::string name(host.substr(0, end));
    std::ranges::transform(name, name.begin(),
                           [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return name;
}

ApiAnswer putMisbehaviour(const std::string& body, Inspection& inspection) {
    if (body.size() > longestOrder) return refusal(413, fmt::format("the body is larger than {} bytes", longestOrder));
    auto value = platform::parseJson(body);
    if (!value || !value->dictionary()) return refusal(400, "the body is no JSON object");
    auto& object = *value->dictionary();
    Misbehaviour misbehaviour{/*times=*/1, {}};
    if (const auto times = object.extract("times")) {
        if (!times.mapped().isInteger() || times.mapped().integerValue() < 1 ||
            times.mapped().integerValue() > mostTimes) {
            return refusal(400, fmt::format("\"times\" must be a whole number from 1 to {}", mostTimes));
        }
        misbehaviour.times = static_cast<std::uint64_t>(times.mapped().integerValue());
    }
    try {
        misbehaviour.reply = replyFrom(object);
    } catch (const WrongUse& error) {
        return refusal(400, error.what());
    }
    inspection.misbehave(std::move(misbehaviour));
    return json(inspection.stateJson());
}

ApiAnswer get(const std::string& path, const Inspection& inspection) {
    if (path == "/") return {200, "text/html; charset=utf-8", std::string(inspectorPage())};
    if (path == "/api/state") return json(inspection.stateJson());
    if (path == "/api/exchanges") return json(inspection.exchangesJson());
    if (path == "/api/documents.jsonl") {
        return {200, "application/jsonl", inspection.documentLines(), /*isDownload=*/true};
    }
    return refusal(404, "nothing is here");
}

}  // namespace

const std::vector<std::pair<std::string, std::string>>& inspectorHeaders() {
    static const std::vector<std::pair<std::string, std::string>> headers{
        {"Content-Security-Policy", fmt::format("{}; frame-ancestors 'none'", inspectorPagePolicy())},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", "no-store"}};
    return headers;
}

bool isOwnHost(std::string_view hostHeader, std::string_view ownName) {
    const auto name = nameIn(hostHeader);
    return isAddress(name) || name == "localhost" || (!name.empty() && name == nameIn(ownName));
}

std::optional<ApiAnswer> refusalOf(const ApiRequest& request, std::string_view ownName) {
    if (!isOwnHost(request.host, ownName)) return refusal(403, "the Host header names another host");
    const bool isForeign = !request.origin.empty() && request.origin != "http://" + request.host;
    if (isForeign) return refusal(403, "the page that asks is of another origin");
    return std::nullopt;
}

ApiAnswer answerInspector(const ApiRequest& request, Inspection& inspection) {
    if (request.method == "GET") return get(request.path, inspection);
    if (request.method == "PUT" && request.path == "/api/misbehaviour") {
        return putMisbehaviour(request.body, inspection);
    }
    if (request.method == "DELETE" && request.path == "/api/misbehaviour") {
        inspection.misbehave({});
        return json(inspection.stateJson());
    }
    if (request.method == "DELETE" && request.path == "/api/exchanges") {
        inspection.clear();
        return json(inspection.stateJson());
    }
    return refusal(404, "nothing is here");
}

}  // namespace harvelstone::tools
