// Reading and writing a document's JSON, against simdjson's own reading of the same text.

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <simdjson.h>
#include <string>

#include "harvelstone/platform/Json.hpp"

#include "bench/sample_document.hpp"

namespace harvelstone::bench {

namespace {

void JsonWrite(benchmark::State& state) {
    const auto document = sampleDocument(static_cast<std::size_t>(state.range(0)));
    std::int64_t bytes = 0;
    for (auto _ : state) {
        const auto text = platform::jsonText(document);
        bytes += static_cast<std::int64_t>(text.size());
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(bytes);
}

void JsonRead(benchmark::State& state) {
    const auto text = platform::jsonText(sampleDocument(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        const auto value = platform::parseJson(text);
        if (!value) {
            state.SkipWithError("the document does not parse");
            break;
        }
        benchmark::DoNotOptimize(&*value);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void SimdjsonReadAlone(benchmark::State& state) {
    const auto text = platform::jsonText(sampleDocument(static_cast<std::size_t>(state.range(0))));
    simdjson::dom::parser parser;
    for (auto _ : state) {
        if (parser.parse(text).error() != simdjson::SUCCESS) {
            state.SkipWithError("the document does not parse");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

}  // namespace

BENCHMARK(JsonWrite)->Arg(20)->Arg(500);
BENCHMARK(JsonRead)->Arg(20)->Arg(500);
BENCHMARK(SimdjsonReadAlone)->Arg(20)->Arg(500);

}  // namespace harvelstone::bench
