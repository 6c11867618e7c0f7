// Stamps records with the app's and the SDK's version, and the session section with the app-open flag. Reads the
// configuration and the flag; reads and replaces a document's goal, revenue, pages, click, session and push sections
// (TYPE_GOAL, TYPE_REVENUE, TYPE_PAGES, TYPE_CLICK, TYPE_SESSION, TYPE_PUSH). Runs on the thread of the pass or, for
// one record, of the caller.

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view sdkVersion = "21.2.54";

struct MarkedSection {
    enum class Shape { records, oneRecord };

    const TypeConstant& (*type)();
    Shape shape;
};

constexpr MarkedSection markedSections[] = {
    {&TrackType::TYPE_GOAL, MarkedSection::Shape::records},
    {&TrackType::TYPE_REVENUE, MarkedSection::Shape::records},
    {&TrackType::TYPE_PAGES, MarkedSection::Shape::records},
    {&TrackType::TYPE_CLICK, MarkedSection::Shape::records},
    {&TrackType::TYPE_SESSION, MarkedSection::Shape::oneRecord},
    {&TrackType::TYPE_PUSH, MarkedSection::Shape::oneRecord},
};

/// A copy of the next records, behind so many; empty at the end. An element that is no record raises
/// platform::InvalidArgumentException before any is stamped.
List nextRecords(const NamedMap& document, const std::string& key, std::size_t begin) {
    constexpr std::size_t most = 64;
    List records;
    document.answers([&](const Dictionary& held) {
        const auto section = held.find(key);
        const auto* all = section == held.end() ? nullptr : section->second.list();
        if (all == nullptr || all->size() <= begin) return false;
        const auto isRecord = [](const Value& value) { return value.dictionary() != nullptr; };
        if (begin == 0 && !std::all_of(all->begin(), all->end(), isRecord))
            throw platform::InvalidArgumentException("an element of the records is no dictionary");
        const auto end = std::min(all->size(), begin + most);
        const auto first = all->begin();
        records.assign(first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end));
        return true;
    });
    return records;
}

/// Puts those records where the ones stand that they were made of; an empty list where there is none.
Dictionary replaceRecords(Dictionary& held, const std::string& key, std::size_t begin, List& records) {
    const auto section = held.find(key);
    auto* all = section == held.end() ? nullptr : section->second.list();
    if (all == nullptr || all->size() < begin + records.size()) return {{key, std::move(records)}};
    std::move(records.begin(), records.end(), all->begin() + static_cast<std::ptrdiff_t>(begin));
    return {};
}

/// Some records at a time: a long section is not in memory twice.
void markRecords(DocumentManager& manager, NamedMap& document, const std::string& key) {
    const StorageBatch batch;
    std::size_t begin = 0;
    std::size_t count = 0;
    do {
        auto records = nextRecords(document, key, begin);
        count = records.size();
        manager.markVersionArr(records);
        document.update([&](Dictionary& held) { return replaceRecords(held, key, begin, records); });
        begin += count;
    } while (count > 0);
}

void markSection(DocumentManager& manager, NamedMap& document, const MarkedSection& section) {
    const auto& key = section.type().typeValue();
    if (!document.has(key)) return;
    switch (section.shape) {
        case MarkedSection::Shape::records:
            markRecords(manager, document, key);
            return;
        case MarkedSection::Shape::oneRecord: {
            auto record = document.getMutableDictionary(key);
            document.putDictionary(key, std::move(manager.markVersionToJson(record)));
            return;
        }
    }
}

}  // namespace

Dictionary& DocumentManager::markVersionToJson(Dictionary& record) {
    setValue(record, StaticValues::PARAM_AP_VR(), sessionManager->getConfig()->getApVr());
    setValue(record, StaticValues::PARAM_SDK_VERSION(), sdkVersion);
    return record;
}

List& DocumentManager::markVersionArr(List& records) {
    for (std::size_t i = 0; i < records.size(); ++i) {
        auto* record = records[i].dictionary();
        if (record == nullptr)
            throw platform::InvalidArgumentException(fmt::format("element {} of the records is no dictionary", i));
        markVersionToJson(*record);
    }
    return records;
}

std::shared_ptr<NamedMap> DocumentManager::markVersionInfo(std::shared_ptr<NamedMap> document) {
    try {
        for (const auto& section : markedSections) markSection(*this, *document, section);
    } catch (const platform::Exception&) {
        // Better a document without all its stamps than none.
    }
    return document;
}

std::shared_ptr<NamedMap> DocumentManager::markAppOpenFlag(std::shared_ptr<NamedMap> document) {
    try {
        const auto& key = TrackType::TYPE_SESSION().typeValue();
        if (!document->has(key)) return document;
        auto session = document->getMutableDictionary(key);
        markVersionToJson(session);
        setValue(session, StaticValues::APP_OPEN_FLAG(), HarvelstoneCore::getAppOpenFlag());
        document->putDictionary(key, std::move(session));
        HarvelstoneCore::setAppOpenFlag(false);
    } catch (const platform::Exception&) {
        // The flag is still set, so the next document carries it.
    }
    return document;
}

}  // namespace harvelstone
