#include "tests/host/HostProcess.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace harvelstone::testing {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

// A disk that is busy with the output of a compiler lets a recording host wait for a fifth of a second at each sync.
constexpr std::chrono::milliseconds patience = std::chrono::seconds(60);

/// What the sanitizers do of their own accord at the end of a process, or in a child, is not the host's: the search for
/// leaks takes its time, the thread sanitizer sleeps a second, and ends a child that makes a thread.
void keepSanitizersOutOfTheWay() {
    const auto add = [](const char* name, const std::string& options) {
        const auto* before = std::getenv(name);
        setenv(name, before ? (std::string(before) + ":" + options).c_str() : options.c_str(), 1);
    };
    add("ASAN_OPTIONS", "detect_leaks=0");
    add("TSAN_OPTIONS", "atexit_sleep_ms=0:die_after_fork=0");
}

std::array<int, 2> newPipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    return ends;
}

pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int input, int output) {
    std::vector<char*> pointers{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t process = -1;
    const int error = posix_spawn(&process, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), program);
    return process;
}

std::string textOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

bool becomesTrue(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // leaves the processor to the host under test
    }
    return true;
}

bool HostEnd::isExit(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }

bool HostEnd::isSignal(int number) const { return WIFSIGNALED(status) && WTERMSIG(status) == number; }

HostProcess::HostProcess(const std::string& program, const std::vector<std::string>& arguments) {
    static const bool once = (keepSanitizersOutOfTheWay(), true);
    static_cast<void>(once);
    const auto [inputRead, inputWrite] = newPipe();
    const auto [outputRead, outputWrite] = newPipe();
    process_ = spawn(program, arguments, inputRead, outputWrite);
    close(inputRead);
    close(outputWrite);
    toProcess_ = inputWrite;
    fromProcess_ = outputRead;
}

HostProcess::~HostProcess() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    close(toProcess_);
    close(fromProcess_);
}

std::string HostProcess::nextLine() {
    for (;;) {
        if (const auto end = unread_.find('\n'); end != std::string::npos) {
            auto line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            said_.push_back(line);
            return line;
        }
        pollfd output{.fd = fromProcess_, .events = POLLIN, .revents = 0};
        if (poll(&output, 1, static_cast<int>(patience.count())) <= 0) return "";
        std::array<char, 256> buffer{};
        const auto count = read(fromProcess_, buffer.data(), buffer.size());
        if (count <= 0) return "";
        unread_.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

bool HostProcess::hasSaid(const std::vector<std::string>& texts) {
    std::size_t place = 0;
    for (const auto& text : texts) {
        for (;; ++place) {
            if (place == said_.size() && nextLine().empty()) return false;
            if (said_[place].find(text) != std::string::npos) break;
        }
        ++place;
    }
    return true;
}

void HostProcess::goOn() {
    if (write(toProcess_, "\n", 1) != 1) throw std::system_error(errno, std::generic_category(), "the host program");
}

HostEnd HostProcess::waitForEnd() {
    HostEnd end;
    while (waitpid(process_, &end.status, 0) < 0 && errno == EINTR) continue;
    const auto now = steady_clock::now().time_since_epoch();
    process_ = -1;
    constexpr std::string_view start = "ending ";
    for (auto line = nextLine(); !line.empty(); line = nextLine())
        if (line.starts_with(start))
            end.stall =
                std::chrono::duration_cast<microseconds>(now) - microseconds(std::stoll(line.substr(start.size())));
    return end;
}

bool HostProcess::hasMapped(const std::string& file) const {
    return textOf("/proc/" + std::to_string(process_) + "/maps").find(file + "\n") != std::string::npos;
}

int HostProcess::threadCount() const {
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(process_) + "/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

long HostProcess::voluntarySwitches(const std::string& threadName) const {
    constexpr std::string_view label = "\nvoluntary_ctxt_switches:";
    long switches = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process_) + "/task")) {
        if (!threadName.empty() && textOf(task.path() / "comm") != threadName + "\n") continue;
        const auto status = textOf(task.path() / "status");
        if (const auto place = status.find(label); place != std::string::npos)
            switches += std::stol(status.substr(place + label.size()));
    }
    return switches;
}

}  // namespace harvelstone::testing
