// From a document's JSON text to the body of its upload, against zlib alone over the same bytes.

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <zlib.h>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/HV_GZIP.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

std::string documentText(const benchmark::State& state) {
    return platform::jsonText(sampleDocument(static_cast<std::size_t>(state.range(0))));
}

void countBytes(benchmark::State& state, const std::string& input) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.size()));
    state.counters["input_bytes"] = static_cast<double>(input.size());
}

/// zlib as HV_GZIP uses it, and nothing else.
std::size_t zlibAlone(std::string& input, std::string& output) {
    constexpr int gzipWindow = 15 + 16;
    constexpr int memoryLevel = 8;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, memoryLevel, Z_DEFAULT_STRATEGY) != Z_OK)
        return 0;
    output.resize(deflateBound(&stream, input.size()));
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    const int result = deflate(&stream, Z_FINISH);
    const std::size_t size = stream.total_out;
    deflateEnd(&stream);
    return result == Z_STREAM_END ? size : 0;
}

void PercentEncoding(benchmark::State& state) {
    const auto text = documentText(state);
    for (auto _ : state) benchmark::DoNotOptimize(percentEncoded(text));
    countBytes(state, text);
}

void PercentEncodingAndGzip(benchmark::State& state) {
    const auto text = documentText(state);
    for (auto _ : state) benchmark::DoNotOptimize(HV_GZIP().gzippedData(percentEncoded(text)));
    countBytes(state, text);
}

void ZlibAloneOverTheEncodedText(benchmark::State& state) {
    const auto text = documentText(state);
    auto encoded = percentEncoded(text);
    std::string output;
    for (auto _ : state) {
        const std::size_t size = zlibAlone(encoded, output);
        if (size == 0) {
            state.SkipWithError("deflate failed");
            break;
        }
        benchmark::DoNotOptimize(output.data());
    }
    countBytes(state, text);
}

}  // namespace

BENCHMARK(PercentEncoding)->Arg(20)->Arg(500);
BENCHMARK(PercentEncodingAndGzip)->Arg(20)->Arg(500);
BENCHMARK(ZlibAloneOverTheEncodedText)->Arg(20)->Arg(500);

}  // namespace harvelstone::bench
