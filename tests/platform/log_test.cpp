#include "harvelstone/platform/Log.hpp"

#include <array>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace harvelstone::platform {
namespace {

using ::testing::ElementsAre;

/// What is written to standard error goes into a pipe for as long as this lives.
class CapturedStandardError {
  public:
    explicit CapturedStandardError(int flags = 0) {
        if (pipe2(ends_.data(), O_CLOEXEC | flags) != 0) throw std::runtime_error("no pipe");
        original_ = dup(STDERR_FILENO);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~CapturedStandardError() {
        restore();
        close(ends_[0]);
    }
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;

    /// Everything until all writers are gone.
    std::string readToEnd() {
        restore();
        return read();
    }

    std::string read() const {
        std::string text;
        std::array<char, 4096> buffer{};
        for (;;) {
            const auto count = ::read(ends_[0], buffer.data(), buffer.size());
            if (count <= 0) return text;
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }

    void restore() {
        if (original_ < 0) return;
        dup2(original_, STDERR_FILENO);
        close(original_);
        close(ends_[1]);
        original_ = -1;
    }

  private:
    std::array<int, 2> ends_{};
    int original_ = -1;
};

TEST(StandardErrorLog, WritesBothKindsOfLine) {
    CapturedStandardError standardError;
    StandardErrorLog log;
    log.platformLine("one");
    log.debugLine("two ");
    log.debugLine("");
    EXPECT_EQ(standardError.readToEnd(), "one\ntwo \n\n");
}

TEST(StandardErrorLog, WritesALineLongerThanAPipeHolds) {
    CapturedStandardError standardError;
    const std::string line(1'000'000, 'x');
    std::string text;
    std::thread reader([&] { text = standardError.read(); });
    StandardErrorLog().debugLine(line);
    standardError.restore();
    reader.join();
    EXPECT_EQ(text, line + "\n");
}

TEST(StandardErrorLog, TearsNoLineOfSeveralThreads) {
    constexpr int threads = 4;
    constexpr int lines = 300;
    CapturedStandardError standardError;
    std::string text;
    std::thread reader([&] { text = standardError.read(); });
    std::vector<std::thread> writers;
    for (int writer = 0; writer < threads; ++writer)
        writers.emplace_back([writer] {
            StandardErrorLog log;
            for (int line = 0; line < lines; ++line) log.debugLine(std::string(5000, static_cast<char>('a' + writer)));
        });
    for (auto& writer : writers) writer.join();
    standardError.restore();
    reader.join();

    std::istringstream stream(text);
    int whole = 0;
    for (std::string line; std::getline(stream, line); ++whole) EXPECT_EQ(line, std::string(5000, line.front()));
    EXPECT_EQ(whole, threads * lines);
}

TEST(StandardErrorLog, GivesALineUpWhenNobodyTakesIt) {
    CapturedStandardError standardError(O_NONBLOCK);
    StandardErrorLog log;
    log.debugLine(std::string(1'000'000, 'x'));  // fills the pipe
    log.debugLine("lost");
    const auto text = standardError.readToEnd();
    EXPECT_LT(text.size(), 1'000'000U);
    EXPECT_EQ(text.find_first_not_of('x'), std::string::npos);
}

TEST(StandardErrorLog, SurvivesAClosedStandardError) {
    const int kept = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    StandardErrorLog().platformLine("nobody reads this");
    dup2(kept, STDERR_FILENO);
    close(kept);

    CapturedStandardError standardError;
    StandardErrorLog().platformLine("this is read");
    EXPECT_EQ(standardError.readToEnd(), "this is read\n");
}

}  // namespace
}  // namespace harvelstone::platform
