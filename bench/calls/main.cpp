// Does one kind of work so many times and nothing else, for a tracer to count the system calls or for a profiler:
//   harvelstone_calls record|visit|pass TIMES FOLDER

#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "harvelstone/services/SessionManager.hpp"

#include "bench/QuietHttpClient.hpp"
#include "bench/SendingApp.hpp"
#include "bench/sample_event.hpp"

namespace harvelstone::bench {

namespace {

using Work = std::function<void()>;

Work recording(const std::string& folder) {
    auto& manager = startApp(folder, platform::SyncPolicy::powerLoss);
    const auto event = sampleEvent();
    const auto record = [&manager, event] { manager.setEvent(event.type, event.name, event.value); };
    record();  // makes the file
    return record;
}

Work visiting(const std::string& folder) {
    auto& manager = startApp(folder, platform::SyncPolicy::powerLoss);
    return [&manager] {
        SessionManager::sharedInstance().endVisit();
        manager.loadDocument();
    };
}

/// What comes before each pass is counted with it: a new visit, and 100 records in four queues.
Work passing(const std::string& folder) {
    const auto client = std::make_shared<QuietHttpClient>();
    const auto app = std::make_shared<SendingApp>(folder, platformWith(client));
    return [client, app] {
        app->prepareFilledVisit();
        app->pass(platform::SyncPolicy::powerLoss);
        client->requireRequest();
    };
}

/// Absent for an unknown name.
Work workNamed(std::string_view name, const std::string& folder) {
    if (name == "record") return recording(folder);
    if (name == "visit") return visiting(folder);
    if (name == "pass") return passing(folder);
    return {};
}

}  // namespace

}  // namespace harvelstone::bench

int main(int argc, char** argv) {
    using namespace harvelstone;
    if (argc != 4) {
        std::cerr << "harvelstone_calls record|visit|pass TIMES FOLDER\n";
        return 2;
    }
    const auto work = bench::workNamed(argv[1], argv[3]);
    if (!work) return 2;
    for (int left = std::atoi(argv[2]); left > 0; --left) work();
    return 0;
}
