#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// The failures that a test of this piece would have, found in a process of its own, so that this one stays good.
std::vector<std::string> failuresOf(const std::function<void()>& piece) {
    const TemporaryFolder folder;
    const auto report = folder.path() + "/failures";
    const auto child = fork();
    if (child == 0) {
        auto& test = *::testing::UnitTest::GetInstance();
        delete test.listeners().Release(test.listeners().default_result_printer());
        piece();
        std::ofstream file(report);
        const auto& result = *test.current_test_info()->result();
        for (int part = 0; part < result.total_part_count(); ++part)
            file << result.GetTestPartResult(part).message() << '\0';
        file.close();
        _exit(EXIT_SUCCESS);
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    std::vector<std::string> failures;
    std::ifstream file(report);
    for (std::string failure; std::getline(file, failure, '\0');) failures.push_back(failure);
    return failures;
}

TEST(Life, RunsInAProcessOfItsOwn) {
    const auto parent = getpid();
    int touched = 0;
    life([&] {
        touched = 1;
        EXPECT_NE(getpid(), parent);
        EXPECT_EQ(getppid(), parent);
    });
    EXPECT_EQ(touched, 0);
}

TEST(Life, LeavesItsFilesToTheNextOne) {
    const TemporaryFolder documents;
    life([&] {
        const TestPlatform machine(documents.path());
        machine.writeFile("a", "first life");
    });
    life([&] {
        const TestPlatform machine(documents.path());
        EXPECT_THAT(machine.storedFiles(), ElementsAre("a"));
        EXPECT_EQ(machine.readFile("a"), "first life");
    });
}

TEST(Life, EndsAsAnAppDoes) {
    const TemporaryFolder folder;
    life([&] {
        static std::string path;
        path = folder.path() + "/exited";
        std::atexit([] { std::ofstream(path) << "exited"; });
    });
    EXPECT_EQ(access((folder.path() + "/exited").c_str(), F_OK), 0);
}

TEST(Life, ReportsNothingWhenNothingFailed) {
    EXPECT_THAT(failuresOf([] { life([] { EXPECT_EQ(1, 1); }); }), IsEmpty());
}

TEST(Life, ReportsAFailedExpectation) {
    EXPECT_THAT(failuresOf([] { life([] { EXPECT_EQ(1, 2) << "they differ"; }); }),
                ElementsAre(AllOf(HasSubstr("in a life: "), HasSubstr("life_test.cpp:"), HasSubstr("they differ"))));
}

TEST(Life, ReportsAFailedAssertion) {
    const auto failures = failuresOf([] {
        life([] {
            ASSERT_TRUE(false) << "it ends here";
            std::abort();
        });
    });
    EXPECT_THAT(failures, ElementsAre(HasSubstr("it ends here")));
}

TEST(Life, ReportsEveryFailure) {
    const auto failures = failuresOf([] {
        life([] {
            ADD_FAILURE() << std::string(100'000, 'x');  // more than a pipe holds
            ADD_FAILURE() << "second";
        });
    });
    EXPECT_THAT(failures, ElementsAre(HasSubstr(std::string(100'000, 'x')), HasSubstr("second")));
}

TEST(Life, ReportsAnExceptionThatLeavesIt) {
    EXPECT_THAT(failuresOf([] { life([] { throw platform::RangeException("index 3"); }); }),
                ElementsAre(HasSubstr("RangeException left a life: index 3")));
    EXPECT_THAT(failuresOf([] { life([] { throw std::runtime_error("odd"); }); }),
                ElementsAre(HasSubstr("an exception left a life: odd")));
}

TEST(Life, ReportsAnyOtherEnd) {
    EXPECT_THAT(failuresOf([] { life([] { std::raise(SIGTERM); }); }),
                ElementsAre(HasSubstr("a life was ended by signal 15")));
    EXPECT_THAT(failuresOf([] { life([] { dieHere(); }); }), ElementsAre(HasSubstr("a life was ended by signal 9")));
    EXPECT_THAT(failuresOf([] { life([] { _exit(3); }); }), ElementsAre(HasSubstr("a life ended with exit code 3")));
}

TEST(LifeUntilKilled, DiesWhereThePieceSays) {
    const TemporaryFolder documents;
    lifeUntilKilled([&] {
        const TestPlatform machine(documents.path());
        machine.writeFile("before", "");
        dieHere();
    });
    life([&] { EXPECT_THAT(TestPlatform(documents.path()).storedFiles(), ElementsAre("before")); });
}

TEST(LifeUntilKilled, ReportsWhatFailedBeforeItDied) {
    const auto failures = failuresOf([] {
        lifeUntilKilled([] {
            ADD_FAILURE() << "too early";
            dieHere();
        });
    });
    EXPECT_THAT(failures, ElementsAre(HasSubstr("too early")));
}

TEST(LifeUntilKilled, ReportsThatItWasNotKilled) {
    EXPECT_THAT(failuresOf([] { lifeUntilKilled([] {}); }),
                ElementsAre(HasSubstr("a life ended with exit code 0 instead of being killed")));
    EXPECT_THAT(failuresOf([] { lifeUntilKilled([] { std::raise(SIGTERM); }); }),
                ElementsAre(HasSubstr("a life was ended by signal 15 instead of being killed")));
}

}  // namespace
}  // namespace harvelstone::testing
