#include "bench/sample_document.hpp"

#include <fmt/format.h>
#include <utility>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone::bench {

Dictionary sampleRecord(std::size_t number) {
    return {
        {StaticValues::PARAM_VT_TZ(), fmt::format("2026-11-21T14:{:02}:{:02}+01:00", number / 60 % 60, number % 60)},
        {StaticValues::PARAM_NAME(), fmt::format("/women/shoes/boots/{}", 1000 + number * 7919 % 9000)},
        {StaticValues::PARAM_TYPE(), "product"},
        {StaticValues::PARAM_PNC(), fmt::format("p{}", number * 104'729 % 100'000)},
        {StaticValues::PARAM_PNC_NM(), "Stiefelette, gefüttert, Größe 39"},
        {StaticValues::PARAM_PNG(), "c17"},
        {StaticValues::PARAM_PNG_NM(), "Winter boots"},
        {StaticValues::PARAM_VS(), 0.25 * static_cast<double>(number % 400)},
        {StaticValues::PARAM_CS_P_V(), number},
        {StaticValues::PARAM_VALUE(), 129.95},
        {StaticValues::PARAM_REFERER(), "https://shop.example.com/search?q=red+boots&page=2"},
        {StaticValues::PARAM_UTM_SOURCE(), "newsletter"},
        {StaticValues::PARAM_UTM_CAMPAIGN(), "winter sale"},
        {StaticValues::PARAM_AP_VR(), "4.12.0"},
        {StaticValues::PARAM_SDK_VERSION(), "21.2.54"},
    };
}

Dictionary sampleDocument(std::size_t pages) {
    Dictionary session = sampleRecord(0);
    for (int i = 0; i < 60; ++i) session.emplace(fmt::format("session_value_{}", i), fmt::format("value {}", i * 37));
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
