// usage: host_exits TIMES
// Measures how long hosts take to end, from every moment and in every way, with the library and without it.
#include <algorithm>
#include <cstdlib>
#include <fmt/core.h>
#include <functional>
#include <map>
#include <vector>

#include "tests/host/Ending.hpp"

namespace {

using harvelstone::testing::Ending;
using harvelstone::testing::HostEnd;

/// Milliseconds, shortest first.
using Stalls = std::vector<double>;

double medianOf(const Stalls& stalls) { return stalls[stalls.size() / 2]; }

Stalls measure(int times, const std::string& way, const std::function<HostEnd()>& endOnce) {
    Stalls stalls;
    for (int time = 0; time < times; ++time) {
        const auto end = endOnce();
        if (!isOrderly(end, way) || !end.stall) {
            fmt::print("no orderly end: status {}\n", end.status);
            std::exit(1);
        }
        stalls.push_back(static_cast<double>(end.stall->count()) / 1000);
    }
    std::sort(stalls.begin(), stalls.end());
    return stalls;
}

void printRow(const std::string& moment, const std::string& way, const Stalls& stalls, const Stalls& bare) {
    fmt::print("{:<14} {:<11} {:8.2f} {:9.2f} {:7.2f} {:7.2f}\n", moment, way, medianOf(stalls), stalls.back(),
               medianOf(stalls) / medianOf(bare), stalls.back() / bare.back());
}

}  // namespace

int main(int count, char** arguments) {
    const int times = count == 2 ? std::atoi(arguments[1]) : 0;
    if (times < 1) return 2;
    std::map<std::string, Stalls> bare;
    double longest = 0;
    double longestMedian = 0;
    double longestBare = 0;
    fmt::print("{:<14} {:<11} {:>8} {:>9} {:>7} {:>7}\n", "moment", "way", "median", "longest", "ratios", "");
    for (const auto& ending : harvelstone::testing::everyEnding()) {
        const auto bareWay = ending.way == "dlclose" ? "return" : ending.way;
        if (!bare.contains(bareWay)) {
            bare[bareWay] =
                measure(times, bareWay, [&] { return harvelstone::testing::endOnceWithoutLibrary(bareWay); });
            printRow("no library", bareWay, bare[bareWay], bare[bareWay]);
            longestBare = std::max(longestBare, bare[bareWay].back());
        }
        const auto stalls = measure(times, ending.way, [&] { return harvelstone::testing::endOnce(ending); });
        printRow(ending.isOverTls ? ending.moment + ", TLS" : ending.moment, ending.way, stalls, bare[bareWay]);
        longest = std::max(longest, stalls.back());
        longestMedian = std::max(longestMedian, medianOf(stalls));
    }
    fmt::print("longest stall at exit: {:.2f} ms; without the library: {:.2f} ms; {:.1f} times\n", longest, longestBare,
               longest / longestBare);
    return longestMedian < 100 ? 0 : 1;
}
