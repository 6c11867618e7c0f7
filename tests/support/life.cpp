// One life of an app: a piece of a test in a child process, whose failures come back through a pipe.

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Fork.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

constexpr char messageEnd = '\0';

/// Writes each failure to the pipe at once, so that none is lost when the child dies.
class FailurePipe final : public ::testing::EmptyTestEventListener {
  public:
    explicit FailurePipe(int descriptor) : descriptor_(descriptor) {}

    void OnTestPartResult(const ::testing::TestPartResult& result) override {
        if (!result.failed()) return;
        std::ostringstream text;
        if (result.file_name() != nullptr) text << result.file_name() << ':' << result.line_number() << ": ";
        text << result.message();
        send(text.str());
    }

  private:
    void send(std::string message) const {
        message += messageEnd;
        for (std::string_view rest = message; !rest.empty();) {
            const auto count = write(descriptor_, rest.data(), rest.size());
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) std::abort();  // the parent reports that end instead
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    int descriptor_;
};

std::array<int, 2> newPipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    return ends;
}

[[noreturn]] void runChild(const std::function<void()>& piece, int failures) {
    auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new FailurePipe(failures));
    platform::takeOverFromParent();  // a life goes on in the folder of the one before
    try {
        piece();
    } catch (const platform::Exception& exception) {
        ADD_FAILURE() << exception.name() << " left a life: " << exception.reason();
    } catch (const std::exception& exception) {
        ADD_FAILURE() << "an exception left a life: " << exception.what();
    }
    std::exit(EXIT_SUCCESS);  // as an app ends, with its worker threads still there
}

std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
        const auto count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return text;
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

int waitForEnd(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
    return status;
}

void reportFailures(const std::string& messages) {
    std::istringstream stream(messages);
    for (std::string message; std::getline(stream, message, messageEnd);) ADD_FAILURE() << "in a life: " << message;
}

/// Runs the piece in a child and gives how the child ended, as waitpid tells it.
int statusAfter(const std::function<void()>& piece) {
    const auto [readEnd, writeEnd] = newPipe();
    std::fflush(nullptr);  // else the child would print it again
    const auto child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        close(readEnd);
        runChild(piece, writeEnd);
    }
    close(writeEnd);
    reportFailures(readToEnd(readEnd));
    close(readEnd);
    return waitForEnd(child);
}

std::string endText(int status) {
    if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
    return "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

void life(const std::function<void()>& piece) {
    const auto status = statusAfter(piece);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) ADD_FAILURE() << "a life " << endText(status);
}

void lifeUntilKilled(const std::function<void()>& piece) {
    const auto status = statusAfter(piece);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL)
        ADD_FAILURE() << "a life " << endText(status) << " instead of being killed";
}

void dieHere() {
    std::fflush(nullptr);
    for (;;) std::raise(SIGKILL);
}

}  // namespace harvelstone::testing
