// The stream of changes as the text of server-sent events. Each stream runs on the thread of its connection.

#include "tools/event_stream.hpp"

#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace harvelstone::tools {

namespace {

/// How soon a stream sees that its client has gone.
constexpr std::chrono::milliseconds patience{500};

}  // namespace

EventStream::EventStream(Inspection& inspection, std::string series, std::string_view lastEventId)
    : inspection_(inspection), series_(std::move(series)) {
    const auto prefix = series_ + "-";
    if (!lastEventId.starts_with(prefix)) return;
    version_ = std::strtoull(std::string(lastEventId.substr(prefix.size())).c_str(), nullptr, /*base=*/10);
}

std::string EventStream::next() {
    if (!std::exchange(isGreeted_, true)) return hello();
    std::string text;
    for (const auto& event : inspection_.changesAfter(version_, patience)) {
        fmt::format_to(std::back_inserter(text), "id: {}-{}\nevent: {}\ndata: {}\n\n", series_, event.version,
                       event.name, event.json);
        version_ = event.version;
    }
    return text;
}

std::string EventStream::hello() const {
    return fmt::format("event: hello\ndata: {{\"series\":\"{}\",\"state\":{}}}\n\n", series_, inspection_.stateJson());
}

}  // namespace harvelstone::tools
