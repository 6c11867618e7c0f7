// The memory of a pass, in bytes for each byte of its document's JSON text, and what a visit leaves in memory.

#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

#include "bench/QuietHttpClient.hpp"
#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/rows.hpp"
#include "tests/support/peak_memory.hpp"

namespace harvelstone::bench {

namespace {

using platform::SyncPolicy;

double residentBytes() {
    std::ifstream pages("/proc/self/statm");
    double all = 0;
    double resident = 0;
    pages >> all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

Outcome ofAPass(const std::string& folder, std::size_t) {
    const auto client = std::make_shared<QuietHttpClient>();
    SendingApp app(folder, platformWith(client));
    app.prepareFilledVisit();
    app.pass(SyncPolicy::processExit);  // or the code that is read from the disk for it would count
    client->requireRequest();
    app.forgetDocuments();
    app.newVisit();
    constexpr std::size_t records = 2'500;
    app.addRecords(RecordKind::click, records);
    Outcome outcome;
    std::size_t peak = 0;
    outcome = timed(1, [&] { peak = testing::memoryPeakDuring([&] { app.pass(SyncPolicy::processExit); }); });
    client->requireRequest();
    const auto json = (*currentDocument->load())->jsonString().size();
    outcome.figures["peak_for_a_byte_of_JSON"] = static_cast<double>(peak) / static_cast<double>(json);
    return outcome;
}

Outcome ofVisits(const std::string& folder, std::size_t) {
    SendingApp app(folder);
    const auto visit = [&] {
        app.forgetDocuments();
        app.newVisit();
    };
    constexpr std::size_t visits = 10'000;
    timed(visits / 10, visit);
    const auto before = residentBytes();
    auto outcome = timed(visits, visit);
    outcome.figures["bytes_left_by_a_visit"] = (residentBytes() - before) / static_cast<double>(visits);
    return outcome;
}

}  // namespace

void addMemoryRow() {
    addLongSide("memory/pass/harvelstone", ofAPass);
    addLongSide("memory/visits/harvelstone", ofVisits);
}

}  // namespace harvelstone::bench
