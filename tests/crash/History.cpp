// A history as bytes: what a life hands to the process that looks into it.

#include "tests/crash/History.hpp"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "harvelstone/platform/Json.hpp"

#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {

namespace {

using Json = nlohmann::json;

Json bytesOf(const std::string& text) { return Json::binary({text.begin(), text.end()}); }

std::string textOf(const Json& bytes) { return {bytes.get_binary().begin(), bytes.get_binary().end()}; }

Json toJson(const DiskStep& step) {
    return {static_cast<int>(step.kind), step.file, step.path, step.newPath, bytesOf(step.bytes), step.size, step.time};
}

DiskStep stepFrom(const Json& json) {
    return {.kind = static_cast<DiskStep::Kind>(json.at(0).get<int>()),
            .file = json.at(1).get<std::size_t>(),
            .path = json.at(2).get<std::string>(),
            .newPath = json.at(3).get<std::string>(),
            .bytes = textOf(json.at(4)),
            .size = json.at(5).get<std::uint64_t>(),
            .time = json.at(6).get<double>()};
}

Dictionary contentFrom(const Json& text) {
    const auto value = independentlyParsed(text.get<std::string>());
    return value ? *value->dictionary() : Dictionary();
}

}  // namespace

std::size_t callsIn(HistoryView history) {
    return static_cast<std::size_t>(std::count_if(history.begin(), history.end(),
                                                  [](const auto& one) { return one.what == Happening::What::call; }));
}

std::string callText(HistoryView history, std::size_t number) {
    for (const auto& one : history)
        if (one.what == Happening::What::call && --number == 0) return one.text;
    return "no call";
}

std::string packed(const History& history) {
    auto list = Json::array();
    for (const auto& one : history) {
        const auto step = one.what == Happening::What::step ? toJson(one.step) : Json();
        list.push_back({static_cast<int>(one.what), one.text, step, one.number, one.queue, one.document, one.time,
                        one.content.empty() ? "" : platform::jsonText(one.content)});
    }
    const auto bytes = Json::to_msgpack(list);
    return {bytes.begin(), bytes.end()};
}

History unpacked(const std::string& bytes) {
    History history;
    for (const auto& json : Json::from_msgpack(bytes))
        history.push_back({.what = static_cast<Happening::What>(json.at(0).get<int>()),
                           .text = json.at(1).get<std::string>(),
                           .step = json.at(2).is_null() ? DiskStep() : stepFrom(json.at(2)),
                           .number = json.at(3).get<int>(),
                           .queue = json.at(4).get<std::string>(),
                           .document = json.at(5).get<std::string>(),
                           .content = contentFrom(json.at(7)),
                           .time = json.at(6).get<double>()});
    return history;
}

}  // namespace harvelstone::testing
