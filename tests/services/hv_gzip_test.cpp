#include "harvelstone/services/HV_GZIP.hpp"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <utility>
#include <zlib.h>

namespace harvelstone {
namespace {

struct Unpacked {
    std::string text;
    std::size_t read = 0;  // bytes of the stream
    bool isWhole = false;  // with a right checksum and length
};

Unpacked unpack(const std::string& compressed) {
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);  // gzip alone
    std::string input = compressed;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    Unpacked result;
    std::string piece(1 << 16, '\0');
    int code = Z_OK;
    while (code == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        code = inflate(&stream, Z_NO_FLUSH);
        result.text.append(piece, 0, piece.size() - stream.avail_out);
    }
    result.isWhole = code == Z_STREAM_END;
    result.read = stream.total_in;
    inflateEnd(&stream);
    return result;
}

void expectRoundTrip(const std::string& text) {
    const auto compressed = HV_GZIP().gzippedData(text);
    const auto unpacked = unpack(compressed);
    EXPECT_TRUE(unpacked.isWhole);
    EXPECT_EQ(unpacked.read, compressed.size());
    EXPECT_TRUE(unpacked.text == text);  // not EXPECT_EQ: a difference would be megabytes long
}

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(1);
    std::string bytes(count, '\0');
    for (auto& byte : bytes) byte = static_cast<char>(generator());
    return bytes;
}

TEST(HVGzip, GivesBackWhatWasCompressed) { expectRoundTrip(R"(%7B%22session%22%3A%7B%7D%7D)"); }

TEST(HVGzip, CompressesNothingToAWholeStream) { expectRoundTrip(""); }

TEST(HVGzip, KeepsZeroBytes) { expectRoundTrip(std::string("a\0b\0", 4)); }

TEST(HVGzip, CompressesWhatDoesNotGetSmaller) { expectRoundTrip(randomBytes(300'000)); }

TEST(HVGzip, CompressesATextOfSeveralPieces) { expectRoundTrip(std::string(40'000'000, 'x') + "end"); }

TEST(HVGzip, CompressesATextThatEndsWithAPiece) { expectRoundTrip(std::string(std::size_t{1} << 24, 'x')); }

TEST(HVGzip, CompressesPiecesAsIfTheyCameAtOnce) {
    const auto text = randomBytes(100'000) + std::string(100'000, 'x');
    std::string_view rest = text;
    const auto compressed = HV_GZIP().gzippedPieces([&, size = std::size_t{1}]() mutable {
        const auto piece = rest.substr(0, size++);
        rest.remove_prefix(piece.size());
        return piece;
    });
    EXPECT_TRUE(compressed == HV_GZIP().gzippedData(text));
}

TEST(HVGzip, MakesTheSameOfPiecesHoweverLongItIsSaidToBecome) {
    const auto text = randomBytes(100'000);
    for (const std::size_t likelySize : {0U, 1'000U, 200'000U}) {
        std::string_view rest = text;
        const auto compressed = HV_GZIP().gzippedPieces([&] { return std::exchange(rest, {}); }, likelySize);
        EXPECT_TRUE(compressed == HV_GZIP().gzippedData(text)) << likelySize;
    }
}

TEST(HVGzip, CompressesNoPieceToAWholeStream) {
    const auto compressed = HV_GZIP().gzippedPieces([] { return std::string_view(); });
    EXPECT_TRUE(unpack(compressed).isWhole);
    EXPECT_EQ(unpack(compressed).text, "");
}

TEST(HVGzip, MakesADocumentMuchSmaller) {
    std::string text;
    for (int i = 0; i < 1000; ++i) text += "%22visit_time%22%3A%222016-11-16T01%3A20%3A00%2B00%3A00%22%2C";
    EXPECT_LT(HV_GZIP().gzippedData(text).size(), text.size() / 50);
}

TEST(HVGzip, WritesAHeaderWithoutNameTimeAndHost) {
    const auto compressed = HV_GZIP().gzippedData("text");
    // RFC 1952: the magic bytes, deflate, no flags, no time, no extra flags, an unknown system.
    const std::string header("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
    EXPECT_EQ(compressed.substr(0, header.size()), header);
}

TEST(HVGzip, GivesTheSameBytesAgain) {
    const HV_GZIP gzip;
    EXPECT_EQ(gzip.gzippedData("text"), gzip.gzippedData("text"));
    EXPECT_EQ(gzip.gzippedData("text"), HV_GZIP().gzippedData("text"));
}

}  // namespace
}  // namespace harvelstone
