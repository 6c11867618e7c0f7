#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/FaultyFileSystem.hpp"
#include "tests/support/ServicesFixture.hpp"

namespace harvelstone::testing {

/// Real stores on a disk that can fail, with everything synced.
class StorageTest : public ::testing::Test {
  protected:
    StorageTest() {
        machine.setFileSystem(disk);
        TestPlatform::setSyncPolicy(platform::SyncPolicy::powerLoss);
    }

    static std::shared_ptr<NamedMap> map(const std::string& name) { return TinyMap::sharedInstance().get(name); }

    static Dictionary record(int number) { return {{"number", number}, {"name", "record " + std::to_string(number)}}; }

    static void add(const std::string& queue, int number) { QueueFile(queue).add(record(number)); }

    /// Adds records first, first + 1, ... last.
    static void addAll(const std::string& queue, int first, int last) {
        for (int number = first; number <= last; ++number) add(queue, number);
    }

    /// The number of the next record, -1 when the queue is empty.
    static int popNumber(const std::string& queue) {
        auto popped = QueueFile(queue).pop();
        return popped ? numberOf(*popped) : -1;
    }

    static std::vector<int> drain(const std::string& queue) {
        const StorageBatch scope;
        QueueFile file(queue);
        std::vector<int> numbers;
        while (auto popped = file.pop()) numbers.push_back(numberOf(*popped));
        return numbers;
    }

    static int numberOf(const Dictionary& popped) {
        return static_cast<int>(integerValue(findValue(popped, "number")));
    }

    /// Of the file that a commit of the map by this process writes.
    static std::string temporaryName(const std::string& map) {
        return temporaryFilePath(map).substr(storageFolder().size());
    }

    /// The lines of the store, without their tag.
    std::vector<std::string> storeLines() const {
        const std::string tag = "DEBUG_HARVELSTONE_STORE : ";
        auto lines = machine.log->linesStartingWith(tag);
        for (auto& line : lines) line.erase(0, tag.size());
        return lines;
    }

    Machine machine;
    std::shared_ptr<FaultyFileSystem> disk = std::make_shared<FaultyFileSystem>();
};

inline std::vector<int> numbersFromTo(int first, int last) {
    std::vector<int> numbers;
    for (int number = first; number <= last; ++number) numbers.push_back(number);
    return numbers;
}

}  // namespace harvelstone::testing
