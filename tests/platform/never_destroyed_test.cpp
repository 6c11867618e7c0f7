#include <gtest/gtest.h>
#include <mutex>
#include <string>

#include "harvelstone/platform/NeverDestroyed.hpp"

namespace harvelstone::platform {
namespace {

struct Counted {
    explicit Counted(int& destructions) : destructions_(&destructions) {}
    ~Counted() { ++*destructions_; }

    int value = 7;

  private:
    int* destructions_;
};

// Made at compile time, so that it is there before any initialiser runs.
constinit NeverDestroyed<std::mutex> mutexOfTheProcess;

TEST(NeverDestroyed, NeverRunsTheDestructor) {
    int destructions = 0;
    { const NeverDestroyed<Counted> object(destructions); }
    EXPECT_EQ(destructions, 0);
    { const Counted object(destructions); }
    EXPECT_EQ(destructions, 1);
}

TEST(NeverDestroyed, GivesTheObject) {
    int destructions = 0;
    NeverDestroyed<Counted> object(destructions);
    object->value = 8;
    EXPECT_EQ((*object).value, 8);
}

TEST(NeverDestroyed, PassesItsArgumentsOn) {
    NeverDestroyed<std::string> text(std::size_t{3}, 'x');
    EXPECT_EQ(*text, "xxx");
    std::string().swap(*text);
}

TEST(NeverDestroyed, CanBeMadeAtCompileTime) {
    EXPECT_TRUE(mutexOfTheProcess->try_lock());
    mutexOfTheProcess->unlock();
}

}  // namespace
}  // namespace harvelstone::platform
