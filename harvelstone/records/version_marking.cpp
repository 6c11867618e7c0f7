// Stamps records with the app's and the SDK's version, and the session section with the app-open flag. Reads the
// configuration and the flag; reads and replaces a document's goal, revenue, pages, click, session and push sections
// (TYPE_GOAL, TYPE_REVENUE, TYPE_PAGES, TYPE_CLICK, TYPE_SESSION, TYPE_PUSH). Runs on the thread of the pass or, for
// one record, of the caller.

#include <cstddef>
#include <fmt/format.h>
#include <string_view>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StaticValues.hpp"
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

/// The section of stamped records; behind them those that an overlapping pass has appended since so many were read.
Dictionary withNewest(const std::string& key, List records, std::size_t count, const Dictionary& held) {
    const auto found = held.find(key);
    const List* now = found == held.end() ? nullptr : found->second.list();
    if (now != nullptr && now->size() > count)
        records.insert(records.end(), now->begin() + static_cast<std::ptrdiff_t>(count), now->end());
    Dictionary section;
    section.emplace(key, std::move(records));
    return section;
}

void markSection(DocumentManager& manager, NamedMap& document, const MarkedSection& section) {
    const auto& key = section.type().typeValue();
    if (!document.has(key)) return;
    switch (section.shape) {
        case MarkedSection::Shape::records: {
            auto records = document.getMutableArray(key);
            const auto count = records.size();
            manager.markVersionArr(records);
            document.update([&](const Dictionary& held) { return withNewest(key, std::move(records), count, held); });
            return;
        }
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
        const auto* record = records[i].dictionary();
        if (record == nullptr)
            throw platform::InvalidArgumentException(fmt::format("element {} of the records is no dictionary", i));
        auto copy = *record;
        records[i] = std::move(markVersionToJson(copy));
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
