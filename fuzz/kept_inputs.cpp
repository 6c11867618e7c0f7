// The kept inputs of one target, its seeds and what was ever found, as a test of every build.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Path = std::filesystem::path;

std::vector<Path> inputsIn(const char* kind) {
    const auto folder = Path(HARVELSTONE_SOURCE_DIR) / "fuzz" / kind / HARVELSTONE_FUZZ_TARGET;
    std::vector<Path> inputs;
    if (!std::filesystem::exists(folder)) return inputs;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

std::vector<std::uint8_t> bytesOf(const Path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void replay(const std::vector<Path>& inputs) {
    for (const auto& input : inputs) {
        SCOPED_TRACE(input);
        const auto bytes = bytesOf(input);
        EXPECT_NO_THROW(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()));
    }
}

TEST(KeptInputs, HoldWhatTheTargetRequires) {
    const auto seeds = inputsIn("seeds");
    ASSERT_FALSE(seeds.empty());
    replay(seeds);
    replay(inputsIn("found"));
}

}  // namespace
