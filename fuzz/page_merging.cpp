// Page records of any shape, merged by the component and by a plain reading of the rule.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StaticValues.hpp"

#include "fuzz/machine.hpp"
#include "fuzz/require.hpp"

namespace harvelstone::fuzz {
namespace {

/// Values and records out of the input's bytes; zeros once they are used up.
class Source {
  public:
    explicit Source(std::string_view bytes) : rest_(bytes) {}

    bool isEmpty() const { return rest_.empty(); }
    unsigned byte() { return taken<unsigned char>(); }

    Value value() {
        switch (byte() % 8) {
            case 0:
                return taken<std::int8_t>();
            case 1:
                return taken<std::int64_t>();
            case 2:
                return taken<std::int8_t>() / 4.0;
            case 3:
                return finite(taken<double>());
            case 4:
                return "text " + std::to_string(byte());
            case 5:
                return byte() % 2 == 0;
            case 6:
                return List{1, 2};
            default:
                return nullptr;
        }
    }

    /// The three keys that count, each there or not, and up to seven others.
    Dictionary record() {
        const auto shape = byte();
        Dictionary record;
        for (unsigned i = 0; i < keys().size(); ++i)
            if ((shape >> i & 1U) != 0) record.insert_or_assign(keys().at(i), value());
        for (unsigned i = 0; i < (shape >> 3U & 7U); ++i) record.insert_or_assign("other" + std::to_string(i), 1);
        return record;
    }

    static std::array<std::string, 3> keys() {
        return {StaticValues::PARAM_VT_TZ(), StaticValues::PARAM_VS(), StaticValues::PARAM_CS_P_V()};
    }

  private:
    template <typename Number>
    Number taken() {
        Number number{};
        const auto count = std::min(sizeof number, rest_.size());
        rest_.copy(reinterpret_cast<char*>(&number), count);
        rest_.remove_prefix(count);
        return number;
    }
    static double finite(double number) { return std::isfinite(number) ? number : 0.5; }

    std::string_view rest_;
};

// ---- The plain reading, which shares no code with the component ----

const Value* member(const Dictionary& record, const std::string& key) {
    const auto found = record.find(key);
    return found == record.end() || found->second.isNull() ? nullptr : &found->second;
}

double numberOf(const Value* value) {
    if (value == nullptr || !(value->isNumber() || value->isBoolean())) return 0;
    return value->doubleValue();
}

std::int64_t cut(double number) {
    constexpr double beyond = 9223372036854775808.0;
    if (number >= beyond) return std::numeric_limits<std::int64_t>::max();
    if (number < -beyond) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(number);
}

struct Sum {
    Value date;
    std::int64_t seconds = 0;
    std::int64_t views = 0;

    void endRun(List& merged) {
        if (views != 0)
            merged.emplace_back(Dictionary{{StaticValues::PARAM_VT_TZ(), date},
                                           {StaticValues::PARAM_VS(), seconds},
                                           {StaticValues::PARAM_CS_P_V(), views}});
        *this = {BSUtil::getCurrentDateString()};
    }
};

/// Absent when a short record lacks its date.
std::optional<List> merged(const Dictionary& seed, const List& pages) {
    const auto* seedViews = member(seed, StaticValues::PARAM_CS_P_V());
    const auto* seedDate = member(seed, StaticValues::PARAM_VT_TZ());
    Sum sum{seedDate != nullptr ? *seedDate : Value(BSUtil::getCurrentDateString()),
            cut(numberOf(member(seed, StaticValues::PARAM_VS()))),
            seedViews != nullptr && seedViews->isInteger() ? seedViews->integerValue() : cut(numberOf(seedViews))};
    List result;
    for (const auto& page : pages) {
        const auto& record = *page.dictionary();
        if (record.size() >= 5) {
            sum.endRun(result);
            result.push_back(page);
            continue;
        }
        const auto* date = member(record, StaticValues::PARAM_VT_TZ());
        if (date == nullptr) return std::nullopt;
        sum.date = *date;
        sum.seconds = cut(static_cast<double>(sum.seconds) + numberOf(member(record, StaticValues::PARAM_VS())));
        sum.views = cut(static_cast<double>(sum.views) + numberOf(member(record, StaticValues::PARAM_CS_P_V())));
    }
    sum.endRun(result);
    return result;
}

// ---- The component ----

std::optional<List> mergedByComponent(const Dictionary& seed, const List& pages) {
    Dictionary stored = seed;
    for (const auto& key : Source::keys()) stored.emplace(key, nullptr);
    (*documentDB)->putAll(std::move(stored));
    try {
        return DocumentManager::sharedInstance().mergePages(pages);
    } catch (const platform::InvalidArgumentException&) {
        return std::nullopt;
    }
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone;
    using namespace harvelstone::fuzz;
    const auto disk = diskWith("", "");
    static auto& manager = DocumentManager::sharedInstance();
    static_cast<void>(manager);
    Source source(textOf(data, size));
    auto seed = source.record();
    List pages;
    while (!source.isEmpty()) pages.emplace_back(source.record());
    require(mergedByComponent(seed, pages) == merged(seed, pages), "pages are merged by the rule");
    return 0;
}
