// Does one kind of work so many times and nothing else, for a tracer to count the system calls:
//   harvelstone_calls record|visit TIMES FOLDER

#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>

#include "harvelstone/services/SessionManager.hpp"

#include "bench/App.hpp"
#include "bench/sample_event.hpp"

namespace harvelstone::bench {

namespace {

using Work = std::function<void()>;

/// Absent for an unknown name. The work has been done once already.
Work workNamed(std::string_view name, DocumentManager& manager) {
    if (name == "record") {
        const auto event = sampleEvent();
        manager.setEvent(event.type, event.name, event.value);  // makes the file
        return [&manager, event] { manager.setEvent(event.type, event.name, event.value); };
    }
    if (name == "visit")
        return [&manager] {
            SessionManager::sharedInstance().endVisit();
            manager.loadDocument();
        };
    return {};
}

}  // namespace

}  // namespace harvelstone::bench

int main(int argc, char** argv) {
    using namespace harvelstone;
    if (argc != 4) {
        std::cerr << "harvelstone_calls record|visit TIMES FOLDER\n";
        return 2;
    }
    auto& manager = bench::startApp(argv[3], platform::SyncPolicy::powerLoss);
    const auto work = bench::workNamed(argv[1], manager);
    if (!work) return 2;
    for (int left = std::atoi(argv[2]); left > 0; --left) work();
    return 0;
}
