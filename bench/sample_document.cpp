#include "bench/sample_document.hpp"

#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <random>
#include <string_view>
#include <utility>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone::bench {

namespace {

/// Picks what varies from record to record, always alike: what repeats itself too much compresses like no real
/// document.
class Choices {
  public:
    explicit Choices(std::size_t seed) : engine_(static_cast<std::uint32_t>(seed)) {}

    std::size_t below(std::size_t limit) { return engine_() % limit; }
    std::string_view word() {
        static constexpr std::array words{
            "women",  "men",    "children", "shoes",  "boots",    "sandals",   "winter", "summer", "autumn", "sale",
            "blue",   "red",    "black",    "olive",  "leather",  "canvas",    "wool",   "cotton", "silk",   "denim",
            "jacket", "coat",   "shirt",    "skirt",  "trousers", "scarf",     "gloves", "hat",    "belt",   "bag",
            "small",  "medium", "large",    "narrow", "wide",     "gefüttert", "Größe",  "été",    "new",    "outlet"};
        return words[below(words.size())];
    }

  private:
    std::minstd_rand engine_;
};

}  // namespace

Dictionary sampleRecord(std::size_t number) {
    Choices pick(number + 1);
    const auto product = pick.below(100'000);
    const auto cents = 995 + pick.below(30'000);
    return {
        {StaticValues::PARAM_VT_TZ(), fmt::format("2026-11-21T14:{:02}:{:02}+01:00", number / 60 % 60, number % 60)},
        {StaticValues::PARAM_NAME(), fmt::format("/{}/{}/{}/{}", pick.word(), pick.word(), pick.word(), product)},
        {StaticValues::PARAM_TYPE(), "product"},
        {StaticValues::PARAM_PNC(), fmt::format("p{}", product)},
        {StaticValues::PARAM_PNC_NM(), fmt::format("{} {}, {} {}", pick.word(), pick.word(), pick.word(), pick.word())},
        {StaticValues::PARAM_PNG(), fmt::format("c{}", pick.below(50))},
        {StaticValues::PARAM_PNG_NM(), fmt::format("{} {}", pick.word(), pick.word())},
        {StaticValues::PARAM_VS(), 0.25 * static_cast<double>(pick.below(400))},
        {StaticValues::PARAM_CS_P_V(), number},
        {StaticValues::PARAM_VALUE(), static_cast<double>(cents) / 100},
        {StaticValues::PARAM_REFERER(),
         fmt::format("https://shop.example.com/search?q={}+{}&page={}", pick.word(), pick.word(), pick.below(20))},
        {StaticValues::PARAM_UTM_SOURCE(), "newsletter"},
        {StaticValues::PARAM_UTM_CAMPAIGN(), "winter sale"},
        {StaticValues::PARAM_AP_VR(), "4.12.0"},
        {StaticValues::PARAM_SDK_VERSION(), "21.2.54"},
    };
}

Dictionary sampleDocument(std::size_t pages) {
    Dictionary session = sampleRecord(0);
    Choices pick(0);
    for (int i = 0; i < 60; ++i)
        session.emplace(fmt::format("session_value_{}", i), fmt::format("{} {}", pick.word(), pick.below(1'000)));
    List records;
    records.reserve(pages);
    for (std::size_t i = 0; i < pages; ++i) records.emplace_back(sampleRecord(i));
    return {
        {TrackType::TYPE_SESSION().typeValue(), std::move(session)},
        {TrackType::TYPE_PAGES().typeValue(), std::move(records)},
        {StaticValues::RETRY_COUNT(), 0},
    };
}

std::string sampleDocumentId(std::size_t number) {
    constexpr std::size_t autumn2026 = 1'795'000'000;
    return fmt::format("9F3C2A7D5B1E4C60A8D2E7F1B4C3D5A6_{}.500000", autumn2026 + number);
}

Dictionary sampleDocumentOf(std::size_t bytes) {
    const auto sizeOf = [](std::size_t pages) { return platform::jsonText(sampleDocument(pages)).size(); };
    const auto empty = sizeOf(0);
    constexpr std::size_t sample = 100;
    const auto aRecord = (sizeOf(sample) - empty) / sample;
    return sampleDocument(bytes > empty ? (bytes - empty + aRecord - 1) / aRecord : 0);
}

}  // namespace harvelstone::bench
