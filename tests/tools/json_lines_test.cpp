#include "tools/json_lines.hpp"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "tests/support/TestPlatform.hpp"
#include "tools/exit_codes.hpp"

namespace harvelstone::tools {

namespace {

TEST(JsonLines, TheLastLineNeedsNoEnd) {
    const auto lines = parseJsonLines("{\"a\": 1}\n{\"b\": 2}", "file");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].object.at("b"), Value(2));
    EXPECT_EQ(lines[1].place.number, 2U);
}

TEST(JsonLines, CommentsMayBeIndented) { EXPECT_TRUE(parseJsonLines("  # {\n#\n\t\n", "file").empty()); }

TEST(JsonLines, ReadsAFile) {
    const testing::TemporaryFolder folder;
    const auto path = folder.path() + "/lines.jsonl";
    std::ofstream(path) << "{}\n";
    EXPECT_EQ(readTextFile(path), "{}\n");
}

TEST(JsonLines, AMissingFileIsWrongUse) { EXPECT_THROW(readTextFile("/nowhere/lines.jsonl"), WrongUse); }

TEST(JsonLines, AFolderIsWrongUse) {
    const testing::TemporaryFolder folder;
    EXPECT_THROW(readTextFile(folder.path()), WrongUse);
}

}  // namespace

}  // namespace harvelstone::tools
