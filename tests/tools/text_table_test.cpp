#include "tools/text_table.hpp"

#include <gtest/gtest.h>

namespace harvelstone::tools {

namespace {

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell) {
    EXPECT_EQ(textTable({{"id", Alignment::left}, {"bytes", Alignment::right}, {"fate", Alignment::left}},
                        {{"S1_7", "12", "sent"}, {"x", "123456", "-"}}),
              "id     bytes  fate\n"
              "----  ------  ----\n"
              "S1_7      12  sent\n"
              "x     123456  -\n");
}

TEST(TextTable, WithoutRowsThereAreTitles) { EXPECT_EQ(textTable({{"id", Alignment::left}}, {}), "id\n--\n"); }

}  // namespace

}  // namespace harvelstone::tools
