// The worked examples of docs/storage.md: what the page shows is what is read and written.

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/map_format.hpp"
#include "harvelstone/services/queue_format.hpp"
#include "harvelstone/services/queue_scan.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string page() {
    std::ifstream file(HARVELSTONE_SOURCE_DIR "/docs/storage.md");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The lines of the page's block of that kind.
std::vector<std::string> block(const std::string& kind) {
    std::istringstream text(page());
    std::vector<std::string> lines;
    bool isInside = false;
    for (std::string line; std::getline(text, line);) {
        if (isInside && line == "```") return lines;
        if (isInside) lines.push_back(line);
        if (line == "```" + kind) isInside = true;
    }
    ADD_FAILURE() << "the page has no block " << kind;
    return {};
}

std::string exampleQueue() {
    std::string bytes;
    for (const auto& line : block("hex queue")) {
        std::istringstream text(line);
        std::size_t offset = 0;
        text >> std::hex >> offset;
        EXPECT_EQ(offset, bytes.size()) << line;
        for (unsigned byte = 0; text >> byte;) bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

const Dictionary start{{"name", "start"}};
const Dictionary buy{{"name", "buy"}, {"value", 1.5}};

TEST(StoragePage, ShowsTheBytesThatTheReaderReads) {
    const auto bytes = exampleQueue();
    EXPECT_EQ(queue_format::readHeader(bytes), (queue_format::QueueHeader{1'479'259'200'500'000, 0}));
    const auto contents = readQueueContents(std::as_bytes(std::span(bytes)));
    EXPECT_THAT(contents.unread, ElementsAre(buy));
    EXPECT_THAT(contents.damaged, IsEmpty());
    const auto withoutTheLastFrame = bytes.substr(0, 106);
    EXPECT_THAT(readQueueContents(std::as_bytes(std::span(withoutTheLastFrame))).unread, ElementsAre(start, buy));
}

TEST(StoragePage, ShowsTheBytesThatTheWriterWrites) {
    using queue_format::FrameType;
    ByteRanges consumed;
    consumed.add(0, 64);
    EXPECT_EQ(exampleQueue(), queue_format::header({1'479'259'200'500'000, 0}) +
                                  queue_format::frame(FrameType::record, platform::jsonText(start)) +
                                  queue_format::frame(FrameType::record, platform::jsonText(buy)) +
                                  queue_format::frame(FrameType::consumed, queue_format::consumedPayload(consumed)));
}

TEST(StoragePage, ShowsAMapAsItIsReadAndWritten) {
    const auto lines = block("json map");
    ASSERT_EQ(lines.size(), 1U);
    const auto contents = map_format::readMapText(lines.front());
    EXPECT_EQ(contents.damage, "");
    EXPECT_EQ(platform::jsonText(contents.values), lines.front());
    EXPECT_EQ(contents.values.at("rate"), Value(42.0));
}

TEST(StoragePage, NamesTheLimits) {
    EXPECT_EQ(queue_format::longestPayload, 16'777'215U);
    EXPECT_THAT(page(), HasSubstr("so at most 16,777,215"));
    EXPECT_EQ(map_format::longestFile, 64U << 20U);
    EXPECT_THAT(page(), HasSubstr("at most 64 MiB"));
    EXPECT_EQ(platform::storedJsonDepthLimit, 1024U);
    EXPECT_THAT(page(), HasSubstr("Values nest at most 1024 containers deep"));
}

}  // namespace
}  // namespace harvelstone::testing
