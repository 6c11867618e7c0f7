// Folds short page records into summaries. Reads the first summary's seed from the document DB map (PARAM_VT_TZ,
// PARAM_VS, PARAM_CS_P_V), writes nothing. Runs on the thread of the pass.

#include <cstdint>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone {

namespace {

/// A record with fewer keys only adds to the summary.
constexpr std::size_t keysOfACompleteRecord = 5;

/// Toward zero, held to the 64-bit range.
std::int64_t truncated(double number) { return Value(number).integerValue(); }

/// What a run of short records adds up to. Its numbers are whole after every record, not only at the end.
class Summary {
  public:
    /// Goes on from the values that page tracking keeps in the document DB map.
    static Summary seeded() {
        auto& db = **documentDB;
        auto date = db.get(StaticValues::PARAM_VT_TZ());
        if (!date) date = BSUtil::getCurrentDateString();
        return {*std::move(date), truncated(doubleValue(db.get(StaticValues::PARAM_VS()))),
                integerValue(db.get(StaticValues::PARAM_CS_P_V()))};
    }

    static Summary fromNow() { return {BSUtil::getCurrentDateString(), /*visitSeconds=*/0, /*pageViews=*/0}; }

    /// The record's date counts from now on; one without a date raises platform::InvalidArgumentException.
    void fold(const Dictionary& page) {
        setValue(record_, StaticValues::PARAM_VT_TZ(), findValue(page, StaticValues::PARAM_VT_TZ()));
        add(page, StaticValues::PARAM_VS());
        add(page, StaticValues::PARAM_CS_P_V());
    }

    /// Without page views there is nothing to report, whatever the seconds.
    void appendTo(List& pages) const {
        if (integerValue(findValue(record_, StaticValues::PARAM_CS_P_V())) != 0) pages.emplace_back(record_);
    }

  private:
    Summary(Value date, std::int64_t visitSeconds, std::int64_t pageViews)
        : record_{{StaticValues::PARAM_VT_TZ(), std::move(date)},
                  {StaticValues::PARAM_VS(), visitSeconds},
                  {StaticValues::PARAM_CS_P_V(), pageViews}} {}

    void add(const Dictionary& page, const std::string& key) {
        setValue(record_, key, truncated(doubleValue(findValue(record_, key)) + doubleValue(findValue(page, key))));
    }

    Dictionary record_;
};

}  // namespace

List DocumentManager::mergePages(List pages) {
    static platform::NeverDestroyed<const Dictionary> noKeys;
    List merged;
    auto summary = Summary::seeded();
    for (auto& page : pages) {
        const auto& record = page.dictionary() != nullptr ? *page.dictionary() : *noKeys;
        if (record.size() < keysOfACompleteRecord) {
            summary.fold(record);
            continue;
        }
        summary.appendTo(merged);
        merged.push_back(std::move(page));
        summary = Summary::fromNow();
    }
    summary.appendTo(merged);
    return merged;
}

}  // namespace harvelstone
