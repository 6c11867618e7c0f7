// A process beside the test's own that holds the lock of a file.

#include "tests/support/LockHolder.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace harvelstone::testing {
namespace {

[[noreturn]] void holdUntilKilled(const std::string& path, int tellHeld) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // no holder outlives its test
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0 || flock(file, LOCK_EX) != 0 || write(tellHeld, "h", 1) != 1) _exit(1);
    for (;;) pause();
}

}  // namespace

LockHolder::LockHolder(const std::string& path) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    child_ = fork();
    if (child_ == 0) holdUntilKilled(path, ends[1]);
    close(ends[1]);
    char answer = 0;
    while (read(ends[0], &answer, 1) < 0 && errno == EINTR) continue;
    close(ends[0]);
    if (answer != 'h') throw std::runtime_error("no process could lock " + path);
}

LockHolder::~LockHolder() { letGo(); }

void LockHolder::letGo() {
    const auto child = std::exchange(child_, -1);
    if (child < 0) return;
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
}

}  // namespace harvelstone::testing
