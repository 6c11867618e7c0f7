#include "harvelstone/services/queue_format.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/queue_scan.hpp"

namespace harvelstone::testing {
namespace {

using namespace queue_format;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Damage = QueueContents::Damage;
using Range = ByteRanges::Range;

/// A small queue as bytes, with the places of its frames.
struct SmallQueue {
    std::string bytes = header({1'479'259'200'500'000, 0});
    std::vector<std::size_t> begins;

    void add(FrameType type, std::string_view payload) {
        begins.push_back(bytes.size());
        bytes += frame(type, payload);
    }
    void addRecord(int number) {
        add(FrameType::record, platform::jsonText(Dictionary{{"n", number}, {"text", "some text"}}));
    }
    void addConsumed(std::uint64_t begin, std::uint64_t end) {
        ByteRanges ranges;
        ranges.add(begin, end);
        add(FrameType::consumed, consumedPayload(ranges));
    }
    std::size_t endOf(std::size_t frameIndex) const {
        return frameIndex + 1 < begins.size() ? begins[frameIndex + 1] : bytes.size();
    }
};

SmallQueue threeRecords() {
    SmallQueue queue;
    for (int number = 1; number <= 3; ++number) queue.addRecord(number);
    return queue;
}

QueueContents contentsOf(std::string_view bytes) { return readQueueContents(std::as_bytes(std::span(bytes))); }

std::vector<int> numbersIn(const QueueContents& contents) {
    std::vector<int> numbers;
    for (const auto& record : contents.unread)
        numbers.push_back(static_cast<int>(integerValue(findValue(record, "n"))));
    return numbers;
}

constexpr char flips[] = {'\x01', '\x80', '\xFF'};

TEST(QueueFormat, ReadsAHeaderBack) {
    const QueueHeader identity{std::numeric_limits<std::uint64_t>::max() - 1, 77, 5, 6};
    const auto bytes = header(identity);
    EXPECT_EQ(bytes.size(), headerSize);
    EXPECT_EQ(readHeader(bytes + "more"), identity);
    EXPECT_EQ(readHeader(std::string_view(bytes).substr(1)), std::nullopt);
    EXPECT_EQ(readHeader(std::string_view(bytes).substr(0, headerSize - 1)), std::nullopt);
}

TEST(QueueFormat, ReadsAFrameHeadBack) {
    const auto bytes = frame(FrameType::consumed, "[[0,24]]");
    const auto head = readFrameHead(bytes);
    ASSERT_TRUE(head);
    EXPECT_EQ(head->type, FrameType::consumed);
    EXPECT_EQ(head->payloadSize, 8U);
    EXPECT_EQ(head->payloadChecksum, checksum("[[0,24]]"));
}

TEST(QueueFormat, RefusesAHeadWithAnyBitChanged) {
    const auto whole = header({5, 6}) + frame(FrameType::record, "{}");
    for (std::size_t place = 0; place < headerSize + frameHeadSize; ++place)
        for (unsigned bit = 0; bit < 8; ++bit) {
            auto bytes = whole;
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << bit));
            const bool isRead = place < headerSize ? readHeader(bytes).has_value()
                                                   : readFrameHead(bytes.substr(headerSize)).has_value();
            EXPECT_FALSE(isRead) << place;
        }
}

TEST(QueueFormat, RefusesAFrameOfUnknownType) {
    EXPECT_EQ(readFrameHead(frame(static_cast<FrameType>('X'), "{}")), std::nullopt);
}

TEST(QueueFormat, FramesTheLongestPayload) {
    const auto bytes = frame(FrameType::record, std::string(longestPayload, ' '));
    EXPECT_EQ(readFrameHead(bytes)->payloadSize, longestPayload);
}

TEST(QueueFormat, ComputesTheUsualChecksum) { EXPECT_EQ(checksum("123456789"), 0xCBF43926U); }

TEST(QueueFormat, ReadsConsumedRangesBack) {
    ByteRanges ranges;
    ranges.add(0, 24);
    ranges.add(100, 1U << 30U);
    EXPECT_EQ(consumedPayload(ranges), "[[0,24],[100,1073741824]]");
    EXPECT_EQ(readConsumedPayload("[[0,24],[100,1073741824]]", 1U << 30U), ranges);
    EXPECT_EQ(readConsumedPayload("[]", 0), ByteRanges());
}

TEST(QueueFormat, RefusesConsumedRangesThatAreNone) {
    for (const auto* payload :
         {"", "{}", "[1]", "[[1]]", "[[1,2,3]]", "[[2,1]]", "[[-1,2]]", "[[1,2.5]]", "[[1,101]]", "[[1,\"2\"]]"})
        EXPECT_EQ(readConsumedPayload(payload, /*limit=*/100), std::nullopt) << payload;
}

TEST(ByteRanges, MeltRangesThatTouchOrOverlap) {
    ByteRanges ranges;
    ranges.add(10, 20);
    ranges.add(30, 40);
    ranges.add(50, 60);
    EXPECT_THAT(ranges.ranges(), ElementsAre(Range{10, 20}, Range{30, 40}, Range{50, 60}));
    ranges.add(20, 25);
    ranges.add(5, 5);
    EXPECT_THAT(ranges.ranges(), ElementsAre(Range{10, 25}, Range{30, 40}, Range{50, 60}));
    ranges.add(24, 50);
    EXPECT_THAT(ranges.ranges(), ElementsAre(Range{10, 60}));
    ranges.add(0, 9);
    EXPECT_THAT(ranges.ranges(), ElementsAre(Range{0, 9}, Range{10, 60}));
    ranges.add(60, 70);
    ranges.add(0, 100);
    EXPECT_THAT(ranges.ranges(), ElementsAre(Range{0, 100}));
}

TEST(ByteRanges, FindTheFirstPositionOutside) {
    ByteRanges ranges;
    ranges.add(10, 20);
    EXPECT_EQ(ranges.firstOutside(9), 9U);
    EXPECT_EQ(ranges.firstOutside(10), 20U);
    EXPECT_EQ(ranges.firstOutside(19), 20U);
    EXPECT_EQ(ranges.firstOutside(20), 20U);
    EXPECT_TRUE(ranges.contains(10));
    EXPECT_FALSE(ranges.contains(20));
}

TEST(ByteRanges, AgreeWithASetOfPositions) {
    std::mt19937 random(7);
    ByteRanges ranges;
    std::vector<bool> expected(200);
    for (int round = 0; round < 60; ++round) {
        const auto begin = random() % 190;
        const auto end = begin + random() % 10;
        ranges.add(begin, end);
        for (auto i = begin; i < end; ++i) expected[i] = true;
        for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(ranges.contains(i), expected[i]) << i;
    }
}

TEST(QueueReader, ReadsEveryRecordInTheOrderOfAdding) {
    const auto contents = contentsOf(threeRecords().bytes);
    EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3));
    EXPECT_THAT(contents.damaged, IsEmpty());
    EXPECT_FALSE(contents.isForeign);
}

TEST(QueueReader, FindsNothingInAnEmptyFileOrABareHeader) {
    for (const auto& bytes : {std::string(), header({1, 2})}) {
        const auto contents = contentsOf(bytes);
        EXPECT_THAT(contents.unread, IsEmpty());
        EXPECT_THAT(contents.damaged, IsEmpty());
        EXPECT_FALSE(contents.isForeign);
    }
}

TEST(QueueReader, LeavesOutWhatIsConsumed) {
    auto queue = threeRecords();
    queue.addConsumed(0, queue.begins[1]);
    EXPECT_THAT(numbersIn(contentsOf(queue.bytes)), ElementsAre(2, 3));
    queue.addConsumed(queue.begins[2], queue.begins[3]);
    EXPECT_THAT(numbersIn(contentsOf(queue.bytes)), ElementsAre(2));
}

TEST(QueueReader, BringsRecordsAgainWhoseConsumptionIsDamaged) {
    auto queue = threeRecords();
    queue.addConsumed(0, queue.begins[1]);
    queue.bytes.back() = 'x';
    const auto contents = contentsOf(queue.bytes);
    EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3));
    EXPECT_THAT(contents.damaged, ElementsAre(Damage{queue.begins[3], queue.bytes.size() - queue.begins[3]}));
}

TEST(QueueReader, ALaterListMakesGoodForADamagedOne) {
    auto queue = threeRecords();
    queue.addConsumed(0, queue.begins[1]);
    queue.addConsumed(0, queue.begins[2]);
    queue.bytes[queue.begins[3] + frameHeadSize] = 'x';
    EXPECT_THAT(numbersIn(contentsOf(queue.bytes)), ElementsAre(3));
}

QueueCounts countsOf(std::string_view bytes, const ByteRanges& claimed = {}) {
    MemorySource source(bytes);
    return *countQueue(source, claimed);
}

TEST(QueueCounting, TellsConsumedRecordsFromUnreadAndDamagedOnes) {
    auto queue = threeRecords();
    queue.addConsumed(0, queue.begins[1]);
    auto counts = countsOf(queue.bytes);
    EXPECT_EQ(counts.consumed, 1U);
    EXPECT_EQ(counts.unread, 2U);
    queue.bytes[queue.begins[2] - 1] = 'x';
    counts = countsOf(queue.bytes);
    EXPECT_EQ(counts.unread, 1U);
    EXPECT_EQ(counts.damaged, 1U);
    EXPECT_EQ(counts.size, queue.bytes.size());
}

TEST(QueueCounting, TakesWhatIsClaimedForNeither) {
    const auto queue = threeRecords();
    ByteRanges claimed;
    claimed.add(0, queue.begins[2]);
    EXPECT_EQ(countsOf(queue.bytes, claimed).unread, 1U);
    EXPECT_EQ(countsOf(queue.bytes, claimed).consumed, 0U);
}

TEST(QueueCounting, GoesOnFromWhatTheHeaderCounts) {
    const auto counts = countsOf(header({1, 2, 30, 4}) + frame(FrameType::record, "{}"));
    EXPECT_EQ(counts.consumed, 30U);
    EXPECT_EQ(counts.unread, 1U);
    EXPECT_EQ(counts.damaged, 4U);
}

TEST(QueueReader, AChangedByteCostsTheFrameThatItStandsIn) {
    const auto queue = threeRecords();
    for (std::size_t place = 0; place < queue.bytes.size(); ++place)
        for (const char flip : flips) {
            auto bytes = queue.bytes;
            bytes[place] = static_cast<char>(bytes[place] ^ flip);
            const auto contents = contentsOf(bytes);
            std::vector<int> expected{1, 2, 3};
            Damage damage{0, headerSize};
            for (std::size_t frame = 0; frame < 3; ++frame)
                if (place >= queue.begins[frame] && place < queue.endOf(frame)) {
                    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(frame));
                    damage = {queue.begins[frame], queue.endOf(frame) - queue.begins[frame]};
                }
            EXPECT_EQ(numbersIn(contents), expected) << place;
            EXPECT_THAT(contents.damaged, ElementsAre(damage)) << place;
        }
}

TEST(QueueReader, ACutCostsTheFrameThatItGoesThroughAndIsNoDamage) {
    const auto queue = threeRecords();
    for (std::size_t size = 0; size <= queue.bytes.size(); ++size) {
        const auto contents = contentsOf(std::string_view(queue.bytes).substr(0, size));
        std::vector<int> expected;
        for (std::size_t frame = 0; frame < 3; ++frame)
            if (queue.endOf(frame) <= size) expected.push_back(static_cast<int>(frame) + 1);
        EXPECT_EQ(numbersIn(contents), expected) << size;
        EXPECT_THAT(contents.damaged, IsEmpty()) << size;
        EXPECT_FALSE(contents.isForeign) << size;
    }
}

TEST(QueueReader, AFrameThatWasNeverWrittenToItsEndHidesNoneBehindIt) {
    const auto queue = threeRecords();
    const auto second = queue.bytes.substr(queue.begins[1], queue.begins[2] - queue.begins[1]);
    const auto third = queue.bytes.substr(queue.begins[2]);
    for (std::size_t part = 1; part < second.size(); ++part) {
        auto bytes = queue.bytes.substr(0, queue.begins[1]) + second.substr(0, part);
        EXPECT_THAT(numbersIn(contentsOf(bytes + third)), ElementsAre(1, 3)) << part;
        EXPECT_THAT(contentsOf(bytes + third).damaged, IsEmpty()) << part;
        bytes += second.substr(0, part);
        EXPECT_THAT(numbersIn(contentsOf(bytes + third)), ElementsAre(1, 3)) << part;
    }
}

TEST(QueueReader, AHeaderThatWasNeverWrittenToItsEndIsNoDamage) {
    const auto queue = threeRecords();
    for (std::size_t part = 0; part < headerSize; ++part) {
        const auto contents = contentsOf(queue.bytes.substr(0, part) + queue.bytes.substr(headerSize));
        EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3)) << part;
        EXPECT_THAT(contents.damaged, IsEmpty()) << part;
    }
}

TEST(QueueReader, ZerosAtTheEndAreNoDamage) {
    const auto queue = threeRecords();
    const auto contents = contentsOf(queue.bytes + std::string(100'000, '\0'));
    EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3));
    EXPECT_THAT(contents.damaged, IsEmpty());
}

TEST(QueueReader, ZerosInTheMiddleAreDamage) {
    const auto queue = threeRecords();
    auto bytes = queue.bytes;
    bytes.insert(queue.begins[1], std::string(100, '\0'));
    const auto contents = contentsOf(bytes);
    EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3));
    EXPECT_THAT(contents.damaged, ElementsAre(Damage{queue.begins[1], 100}));
}

TEST(QueueReader, DamageThatGoesOnIsReportedOnce) {
    auto queue = threeRecords();
    queue.bytes.back() = 'x';
    queue.bytes[queue.begins[1] + frameHeadSize] = 'x';
    const auto contents = contentsOf(queue.bytes);
    EXPECT_THAT(numbersIn(contents), ElementsAre(1));
    EXPECT_THAT(contents.damaged, ElementsAre(Damage{queue.begins[1], queue.bytes.size() - queue.begins[1]}));
}

TEST(QueueReader, ASoundFrameThatHoldsNoRecordIsDamage) {
    for (const auto* payload : {"", "[1]", "{\"a\":", "null", "{\"a\":\"\xC3\"}"}) {
        auto queue = threeRecords();
        queue.add(FrameType::record, payload);
        queue.addRecord(5);
        const auto contents = contentsOf(queue.bytes);
        EXPECT_THAT(numbersIn(contents), ElementsAre(1, 2, 3, 5)) << payload;
        EXPECT_THAT(contents.damaged, ElementsAre(Damage{queue.begins[3], queue.endOf(3) - queue.begins[3]}));
    }
}

TEST(QueueReader, BytesWithoutAnythingOfOursAreForeign) {
    for (const auto* bytes : {"x", "SQLite format 3", "{\"json\": true, \"and\": \"longer than a header\"}"}) {
        const auto contents = contentsOf(bytes);
        EXPECT_TRUE(contents.isForeign) << bytes;
        EXPECT_THAT(contents.damaged, ElementsAre(Damage{0, std::string_view(bytes).size()}));
    }
}

TEST(QueueReader, IsDefinedForAnyBytes) {
    std::mt19937 random(11);
    const auto queue = threeRecords();
    for (int round = 0; round < 3000; ++round) {
        auto bytes = queue.bytes;
        for (auto changes = random() % 6; changes > 0; --changes) {
            const auto place = random() % bytes.size();
            switch (random() % 4) {
                case 0:
                    bytes[place] = static_cast<char>(random());
                    break;
                case 1:
                    bytes.erase(place, random() % 40);
                    break;
                case 2:
                    bytes.insert(place, queue.bytes.substr(random() % queue.bytes.size(), random() % 60));
                    break;
                default:
                    bytes.insert(place, std::string(frameMarker));
            }
            if (bytes.empty()) break;
        }
        const auto contents = contentsOf(bytes);
        std::uint64_t behind = 0;
        for (const auto& damage : contents.damaged) {
            EXPECT_GE(damage.offset, behind);
            behind = damage.offset + damage.bytes;
        }
        EXPECT_LE(behind, bytes.size());
    }
}

/// Counts how many bytes a reader was handed by reads of a file.
class CountingFile final : public platform::File {
  public:
    explicit CountingFile(std::string bytes) : bytes_(std::move(bytes)) {}
    platform::Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        const auto size = offset < bytes_.size() ? std::min(buffer.size(), bytes_.size() - offset) : 0;
        std::copy_n(std::as_bytes(std::span(bytes_)).begin() + static_cast<std::ptrdiff_t>(offset), size,
                    buffer.begin());
        bytesRead += size;
        largestBuffer = std::max(largestBuffer, buffer.size());
        return size;
    }
    platform::Result<void> append(std::span<const std::byte> /*bytes*/) override { return {}; }
    std::size_t lastAppended() const override { return 0; }
    platform::Result<void> sync() override { return {}; }
    platform::Result<void> truncate(std::uint64_t /*size*/) override { return {}; }
    platform::Result<std::uint64_t> size() override { return bytes_.size(); }
    platform::Result<void> lock(std::chrono::milliseconds /*longestWait*/) override { return {}; }
    platform::Result<void> unlock() override { return {}; }

    std::size_t bytesRead = 0;
    std::size_t largestBuffer = 0;

  private:
    std::string bytes_;
};

TEST(QueueReader, ReadsALongFileInChunks) {
    SmallQueue queue;
    while (queue.bytes.size() < (3U << 20U)) queue.addRecord(static_cast<int>(queue.begins.size()));
    CountingFile file(queue.bytes);
    const auto contents = readQueueContents(file);
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->unread.size(), queue.begins.size());
    EXPECT_LE(file.largestBuffer, 512U << 10U);
    EXPECT_LE(file.bytesRead, 3 * queue.bytes.size()) << "once for what is consumed, once for the records";
}

TEST(QueueReader, AsksForNoMoreThanOneChunkOfAShortFile) {
    SmallQueue queue;
    CountingFile file(queue.bytes);
    ASSERT_TRUE(readQueueContents(file));
    ASSERT_LT(queue.bytes.size(), 8U << 10U);
    EXPECT_LE(file.largestBuffer, 16U << 10U);
}

TEST(QueueReader, IsNotSlowedDownByHeadsThatPromiseMuch) {
    const auto head = frame(FrameType::record, std::string(longestPayload, ' ')).substr(0, frameHeadSize);
    std::string bytes = header({1, 0});
    while (bytes.size() < (2U << 20U)) bytes += head;
    CountingFile file(bytes);
    const auto contents = readQueueContents(file);
    ASSERT_TRUE(contents);
    EXPECT_THAT(contents->unread, IsEmpty());
    EXPECT_LE(file.largestBuffer, 512U << 10U);
    EXPECT_LE(file.bytesRead, 3 * bytes.size());
}

}  // namespace
}  // namespace harvelstone::testing
