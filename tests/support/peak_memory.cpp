// The most memory that a piece of a test had in use.

#include "tests/support/peak_memory.hpp"

#include <fstream>
#include <stdexcept>
#include <string>

namespace harvelstone::testing {
namespace {

#if defined(HARVELSTONE_ADDRESS_SANITIZER) || defined(HARVELSTONE_THREAD_SANITIZER)
constexpr bool isMeasurable = false;
#else
constexpr bool isMeasurable = true;
#endif

/// A member of /proc/self/status, in bytes.
std::size_t statusBytes(const std::string& member) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(member + ":")) return std::stoul(line.substr(member.size() + 1)) * 1024;
    throw std::runtime_error("no " + member);
}

void forgetPeak() {
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5" << std::flush;  // the peak is the present size from here on
    if (!clear) throw std::runtime_error("the peak of the memory cannot be measured");
}

}  // namespace

std::size_t memoryPeakDuring(const std::function<void()>& call) {
    if (!isMeasurable) {
        call();
        return 0;
    }
    forgetPeak();
    const auto before = statusBytes("VmRSS");
    call();
    const auto peak = statusBytes("VmHWM");
    return peak > before ? peak - before : 0;
}

}  // namespace harvelstone::testing
