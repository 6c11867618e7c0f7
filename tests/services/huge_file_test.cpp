#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "harvelstone/services/map_format.hpp"

#include "tests/services/StorageTest.hpp"
#include "tests/support/peak_memory.hpp"

/// Files of a gigabyte under our names. They have holes, so that they take no room on the disk.
namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t gigabyte = 1ULL << 30U;
constexpr std::size_t megabyte = 1U << 20U;
constexpr std::size_t smallPeak = 24 * megabyte;

class HugeFile : public StorageTest {
  protected:
    std::string path(const std::string& name) const { return machine.folder + name + ".Harvelstone"; }

    void make(const std::string& name, std::string_view beginning, std::string_view end = "") const {
        machine.writeFile(name + ".Harvelstone", beginning);
        ASSERT_EQ(truncate(path(name).c_str(), static_cast<off_t>(gigabyte)), 0);
        std::ofstream(path(name), std::ios::binary | std::ios::app) << end;
    }
};

TEST_F(HugeFile, InPlaceOfAMapIsSetAsideUnread) {
    make("A", "{\"number\":1");
    const auto peak = memoryPeakDuring([] { EXPECT_EQ(map("A")->get("number"), std::nullopt); });

    EXPECT_LT(peak, smallPeak);
    EXPECT_THAT(storeLines(),
                ElementsAre("A.Harvelstone is too long for a map, set aside as A.corrupt-1479259200.Harvelstone"));
    map("A")->putInt("number", 2);
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":2}");
}

TEST_F(HugeFile, OfZerosInPlaceOfAQueueIsATornTail) {
    make("q", "");
    const auto peak = memoryPeakDuring([] {
        EXPECT_EQ(popNumber("q"), -1);
        add("q", 1);
        EXPECT_THAT(drain("q"), ElementsAre(1));
    });

    EXPECT_LT(peak, smallPeak);
    EXPECT_THAT(storeLines(), IsEmpty());
    EXPECT_LT(std::filesystem::file_size(path("q")), 100U);
}

TEST_F(HugeFile, OfRubbishInPlaceOfAQueueIsSetAside) {
    make("q", "rubbish", "more of it");
    const auto peak = memoryPeakDuring([] { EXPECT_EQ(popNumber("q"), -1); });

    EXPECT_LT(peak, smallPeak);
    EXPECT_THAT(storeLines(),
                ElementsAre("q.Harvelstone is no queue file, set aside as q.corrupt-1479259200.Harvelstone"));
}

TEST_F(HugeFile, BehindTheRecordsOfAQueueIsCutOff) {
    addAll("q", 1, 2);
    make("q", machine.readFile("q.Harvelstone"));
    const auto peak = memoryPeakDuring([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2)); });

    EXPECT_LT(peak, smallPeak);
    EXPECT_LT(std::filesystem::file_size(path("q")), 100U);
}

TEST_F(HugeFile, BetweenTheRecordsOfAQueueIsPassedOver) {
    addAll("q", 1, 2);
    const auto records = machine.readFile("q.Harvelstone");
    make("q", records, records.substr(records.find("\xFEHV\xFF")));
    const auto peak = memoryPeakDuring([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2, 1, 2)); });

    EXPECT_LT(peak, smallPeak);
    EXPECT_EQ(storeLines().size(), 1U);
}

/// The longest file that is still read as a map, of the kind that costs its reader most.
TEST_F(HugeFile, OfTheLongestMapIsReadWithinTenTimesItsSize) {
    machine.writeFile("A.Harvelstone", std::string(map_format::longestFile, '['));
    const auto peak = memoryPeakDuring([] { EXPECT_EQ(map("A")->get("number"), std::nullopt); });

    RecordProperty("megabytes", static_cast<int>(peak / megabyte));
    EXPECT_LT(peak, 10 * map_format::longestFile);
    EXPECT_EQ(storeLines().size(), 1U);
}

}  // namespace
}  // namespace harvelstone::testing
