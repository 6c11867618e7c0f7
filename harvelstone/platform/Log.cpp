#include "harvelstone/platform/Log.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <mutex>
#include <sys/uio.h>
#include <unistd.h>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone::platform {
namespace {

constinit PerProcess<std::mutex> writing;

/// How much of the line and its line feed went out with one system call; a negative number for an error.
ssize_t writeSome(std::string_view line, std::string_view lineFeed) {
    std::array<iovec, 2> pieces{
        {{const_cast<char*>(line.data()), line.size()}, {const_cast<char*>(lineFeed.data()), lineFeed.size()}}};
    return writev(STDERR_FILENO, pieces.data(), static_cast<int>(pieces.size()));
}

void writeLine(std::string_view line) noexcept {
    const std::lock_guard lock(*writing);
    for (std::string_view lineFeed = "\n"; !lineFeed.empty();) {
        const auto written = writeSome(line, lineFeed);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;  // nobody can be told that the log is gone
        const auto ofLine = std::min(line.size(), static_cast<std::size_t>(written));
        line.remove_prefix(ofLine);
        lineFeed.remove_prefix(static_cast<std::size_t>(written) - ofLine);
    }
}

}  // namespace

void StandardErrorLog::platformLine(std::string_view line) noexcept { writeLine(line); }

void StandardErrorLog::debugLine(std::string_view line) noexcept { writeLine(line); }

}  // namespace harvelstone::platform
