#include "harvelstone/platform/Snapshot.hpp"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace harvelstone::platform {
namespace {

using Names = std::vector<std::string>;

Names withOneMore(Names names, const std::string& name) {
    names.push_back(name);
    return names;
}

TEST(Snapshot, IsEmptyUntilTheFirstStore) {
    const Snapshot<Names> names;
    EXPECT_EQ(names.load(), nullptr);
}

TEST(Snapshot, GivesWhatWasStored) {
    Snapshot<Names> names;
    names.store({"a"});
    EXPECT_EQ(*names.load(), Names{"a"});
}

TEST(Snapshot, LeavesAReaderTheStateItTook) {
    Snapshot<Names> names;
    names.store({"a"});
    const auto taken = names.load();
    names.store({"b"});
    EXPECT_EQ(*taken, Names{"a"});
    EXPECT_EQ(*names.load(), Names{"b"});
}

TEST(Snapshot, UpdatesADefaultStateFirst) {
    Snapshot<Names> names;
    const auto placed = names.update([](const Names& before) { return withOneMore(before, "a"); });
    EXPECT_EQ(*placed, Names{"a"});
    EXPECT_EQ(names.load(), placed);
}

TEST(Snapshot, RepeatsAChangeThatAnotherWriterOvertook) {
    Snapshot<Names> names;
    names.store({});
    int calls = 0;
    names.update([&](const Names& before) {
        if (++calls == 1) names.store({"overtaker"});
        return withOneMore(before, "mine");
    });
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(*names.load(), (Names{"overtaker", "mine"}));
}

TEST(Snapshot, LosesNoUpdateOfSeveralThreads) {
    constexpr int threads = 4;
    constexpr int updates = 500;
    Snapshot<int> count;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < threads; ++writer)
        writers.emplace_back([&] {
            for (int update = 0; update < updates; ++update) count.update([](int before) { return before + 1; });
        });
    for (auto& writer : writers) writer.join();
    EXPECT_EQ(*count.load(), threads * updates);
}

TEST(Snapshot, ShowsAReaderWholeStatesOnly) {
    Snapshot<std::vector<int>> numbers;
    numbers.store(std::vector<int>(100, 0));
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        for (int round = 1; round <= 2000; ++round) numbers.store(std::vector<int>(100, round));
        isDone = true;
    });
    while (!isDone) {
        const auto state = numbers.load();
        const auto first = state->front();
        EXPECT_EQ(std::count(state->begin(), state->end(), first), 100);
    }
    writer.join();
}

}  // namespace
}  // namespace harvelstone::platform
