#include "tools/body_decoding.hpp"

#include <gtest/gtest.h>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/HV_GZIP.hpp"

namespace harvelstone::tools {

namespace {

std::string gzip(std::string_view text) { return HV_GZIP().gzippedData(text); }

std::string refusalOf(std::string_view bytes, const BodyLimits& limits = {}) {
    const auto decoding = decodeBody(bytes, limits);
    return decoding.body ? "accepted" : decoding.refusal;
}

TEST(BodyDecoding, UndoesTheThreeLayersAndCountsTheirBytes) {
    const auto bytes = gzip("%7B%22a%22%3A%22%C3%A9%7e%22%7D");
    const auto decoding = decodeBody(bytes, {});
    ASSERT_TRUE(decoding.body) << decoding.refusal;
    EXPECT_EQ(decoding.body->json, "{\"a\":\"é~\"}");
    EXPECT_EQ(decoding.body->document.at("a"), Value("é~"));
    EXPECT_EQ(decoding.body->gzipBytes, bytes.size());
    EXPECT_EQ(decoding.body->encodedBytes, 31U);
}

TEST(BodyDecoding, RefusesWhatIsNoWholeGzipStream) {
    const auto bytes = gzip("%7B%7D");
    EXPECT_EQ(refusalOf(""), "the body is empty");
    EXPECT_EQ(refusalOf("{}"), "the body is no whole gzip stream");
    EXPECT_EQ(refusalOf(bytes.substr(0, bytes.size() - 1)), "the body is no whole gzip stream");
    EXPECT_EQ(refusalOf(bytes + "x"), "the body is no whole gzip stream");
}

TEST(BodyDecoding, TakesAStreamOfSeveralMembers) { EXPECT_EQ(refusalOf(gzip("%7B") + gzip("%7D")), "accepted"); }

TEST(BodyDecoding, RefusesAPercentWithoutTwoDigits) {
    EXPECT_EQ(refusalOf(gzip("%7B%7")),
              "no two hexadecimal digits after the \"%\" at byte 3 of the percent-encoded text");
    EXPECT_EQ(refusalOf(gzip("%")), "no two hexadecimal digits after the \"%\" at byte 0 of the percent-encoded text");
    EXPECT_EQ(refusalOf(gzip("ab%G0")),
              "no two hexadecimal digits after the \"%\" at byte 2 of the percent-encoded text");
}

TEST(BodyDecoding, APlusStaysAPlus) {
    std::string refusal;
    EXPECT_EQ(percentDecode("a+b", refusal), "a+b");
}

TEST(BodyDecoding, RefusesWhatIsNoJson) {
    EXPECT_EQ(refusalOf(gzip("%7B")), "the decoded text is no JSON in UTF-8");
    EXPECT_EQ(refusalOf(gzip("")), "the decoded text is no JSON in UTF-8");
    EXPECT_EQ(refusalOf(gzip("%7B%22a%22%3A%22%FF%22%7D")), "the decoded text is no JSON in UTF-8");
    EXPECT_EQ(refusalOf(gzip("%5B%5D")), "the decoded JSON is no object");
}

TEST(BodyDecoding, KeepsItsLimits) {
    const auto bytes = gzip("%7B%7D");
    EXPECT_EQ(refusalOf(bytes, {.body = bytes.size(), .inflated = 6}), "accepted");
    EXPECT_EQ(refusalOf(bytes, {.body = 10, .inflated = 6}), "the body is larger than 10 bytes");
    EXPECT_EQ(refusalOf(bytes, {.body = bytes.size(), .inflated = 5}), "the gunzipped body is larger than 5 bytes");
}

TEST(BodyDecoding, ABombIsStoppedEarly) {
    std::string refusal;
    EXPECT_FALSE(gunzip(gzip(std::string(std::size_t{32} << 20U, '0')), std::size_t{1} << 20U, refusal));
    EXPECT_EQ(refusal, "the gunzipped body is larger than 1048576 bytes");
}

}  // namespace

}  // namespace harvelstone::tools
