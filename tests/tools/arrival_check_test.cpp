#include "tools/arrival_check.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harvelstone/platform/Json.hpp"

namespace harvelstone::tools {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

DecodedBody received(const std::string& json) {
    return {/*gzipBytes=*/30, /*encodedBytes=*/50, json, *platform::parseJson(json)->dictionary()};
}

/// One document sent twice, one immediate click, one document that still waits.
DemoRecord soundRecord() {
    DemoRecord record;
    record.created = {"A", "B"};
    record.pending = {"B"};
    record.fates = {{"A", Fate::sent}};
    record.uploads = {{UploadSort::document, "A", R"({"goal":[{}],"n":1})"},
                      {UploadSort::document, "A", R"({"goal":[{}],"n":2})"},
                      {UploadSort::click, "B", R"({"click":[{}]})"}};
    record.received = {received(R"({"n":1, "goal":[{}]})"), received(R"({"click":[{}]})"),
                       received(R"({"goal":[{}],"n":2})")};
    return record;
}

TEST(ArrivalCheck, IsSilentWhenAllArrivedAsValues) { EXPECT_THAT(arrivalFaults(soundRecord()), IsEmpty()); }

TEST(ArrivalCheck, FindsAnUploadThatDidNotArrive) {
    auto record = soundRecord();
    record.received.pop_back();
    EXPECT_THAT(arrivalFaults(record), ElementsAre("1 uploads did not arrive as sent"));
}

TEST(ArrivalCheck, FindsAnUploadThatArrivedChanged) {
    auto record = soundRecord();
    record.received[1] = received(R"({"click":[{"a":1}]})");
    EXPECT_THAT(arrivalFaults(record), ElementsAre("1 uploads did not arrive as sent", "1 arrivals were never sent"));
}

TEST(ArrivalCheck, FindsAnUploadThatArrivedTwice) {
    auto record = soundRecord();
    record.received.push_back(record.received[1]);
    EXPECT_THAT(arrivalFaults(record), ElementsAre("1 arrivals were never sent"));
}

TEST(ArrivalCheck, FindsRefusedUploads) {
    auto record = soundRecord();
    record.refused = {"the body is empty"};
    EXPECT_THAT(arrivalFaults(record), ElementsAre("the collector refused an upload: the body is empty"));
}

TEST(ArrivalCheck, FindsDocumentsThatGotNowhere) {
    auto record = soundRecord();
    record.pending.clear();
    record.created.emplace_back("C");
    record.fates["C"] = Fate::transportFailed;
    record.created.emplace_back("D");
    record.fates["D"] = Fate::sessionMissing;
    record.created.emplace_back("E");
    record.fates["E"] = Fate::sent;
    EXPECT_THAT(arrivalFaults(record),
                ElementsAre("document B is neither pending nor retired", "document C got no answer",
                            "document D was lost before it was sent", "document E counts as sent but never was"));
}

TEST(ArrivalCheck, ADocumentDroppedByARuleIsNoFault) {
    auto record = soundRecord();
    record.created.emplace_back("C");
    record.fates["C"] = Fate::noConversionData;
    EXPECT_THAT(arrivalFaults(record), IsEmpty());
}

TEST(ArrivalCheck, TheTableHasARowForEachDocumentAndImmediateUpload) {
    EXPECT_EQ(arrivalTable(soundRecord()),
              "document           records  JSON  encoded  gzip  attempts  fate\n"
              "-----------------  -------  ----  -------  ----  --------  -------\n"
              "A                  goal:1     19       50    30         2  sent\n"
              "B                  -           -        -     -         0  pending\n"
              "(immediate click)  click:1    14       50    30         1  sent\n");
}

}  // namespace

}  // namespace harvelstone::tools
