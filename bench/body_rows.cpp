// From a document to the body of its upload, against zlib alone over the same bytes and against what libcurl brings
// along; percent-encoding by itself; the levels of compression.

#include <curl/curl.h>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/HV_GZIP.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "bench/Side.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"
#include "bench/zlib_alone.hpp"

namespace harvelstone::bench {

namespace {

struct Case {
    std::string name;
    std::size_t bytes;  // of JSON text
};

const std::vector<Case>& cases() {
    static const std::vector<Case> all{{"3KiB", 3 * 1024}, {"30KiB", 30 * 1024}, {"1MiB", 1024 * 1024}};
    return all;
}

/// By libcurl, which gives its own memory.
std::string curlEncoded(const std::string& text) {
    const std::unique_ptr<char, decltype(&curl_free)> encoded(
        curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), &curl_free);
    if (!encoded) throw std::runtime_error("curl_easy_escape failed");
    return encoded.get();
}

void addBodySides(const std::string& name, std::size_t bytes) {
    addSide(name + "/harvelstone", [bytes](const auto&, auto times) {
        const auto document = sampleDocumentOf(bytes);
        return timed<ProcessorTime>(times, [&] {
            benchmark::DoNotOptimize(HV_GZIP().gzippedData(percentEncoded(platform::jsonText(document))));
        });
    });
    addSide(name + "/limit", [bytes](const auto&, auto times) {
        const auto encoded = percentEncoded(platform::jsonText(sampleDocumentOf(bytes)));
        ZlibAlone zlib;
        return timed<ProcessorTime>(times, [&] { benchmark::DoNotOptimize(zlib.compress(encoded)); });
    });
    addSide(name + "/curl", [bytes](const auto&, auto times) {
        const auto text = platform::jsonText(sampleDocumentOf(bytes));
        ZlibAlone zlib;
        return timed<ProcessorTime>(times, [&] { benchmark::DoNotOptimize(zlib.compress(curlEncoded(text))); });
    });
}

/// Times the encoding of a text of so many bytes.
template <typename Encode>
Side encoding(std::size_t bytes, Encode encode) {
    return [bytes, encode](const auto&, auto times) {
        const auto text = platform::jsonText(sampleDocumentOf(bytes));
        auto outcome = timed<ProcessorTime>(times, [&] { benchmark::DoNotOptimize(encode(text)); });
        const auto all = static_cast<double>(text.size()) * static_cast<double>(times);
        outcome.figures["nanoseconds_a_byte"] = outcome.time.count() * 1e9 / all;
        return outcome;
    };
}

Outcome compressedAt(int level, std::size_t bytes, std::size_t times) {
    const auto encoded = percentEncoded(platform::jsonText(sampleDocumentOf(bytes)));
    ZlibAlone zlib(level);
    std::size_t size = 0;
    auto outcome = timed<ProcessorTime>(times, [&] { size = zlib.compress(encoded).size(); });
    outcome.figures["compressed_bytes"] = static_cast<double>(size);
    return outcome;
}

}  // namespace

void addBodyRow() {
    for (const auto& [name, bytes] : cases()) addBodySides("body/" + name, bytes);
}

void addEncodingRow() {
    for (const auto& [name, bytes] : cases()) {
        addSide("encoding/" + name + "/harvelstone",
                encoding(bytes, [](const auto& text) { return percentEncoded(text); }));
        addSide("encoding/" + name + "/curl", encoding(bytes, curlEncoded));
    }
}

void addLevelRow() {
    constexpr int chosen = 6;
    for (const auto& [name, bytes] : cases())
        for (int level = 1; level <= chosen; ++level)
            addSide("level/" + name + (level == chosen ? "/harvelstone" : "/level_" + std::to_string(level)),
                    [level, size = bytes](const auto&, auto times) { return compressedAt(level, size, times); });
}

}  // namespace harvelstone::bench
