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

/// A stamp to come for each element of that list. For one that is no record it is none, and will be refused.
List blankStamps(const NamedMap& document, const std::string& key) {
    List stamps;
    document.read([&](const Dictionary& held) {
        const auto section = held.find(key);
        const auto* records = section == held.end() ? nullptr : section->second.list();
        if (records == nullptr) return;
        for (const auto& record : *records)
            stamps.push_back(record.dictionary() ? Value(Dictionary()) : Value(nullptr));
    });
    return stamps;
}

/// Moves the stamp into the record: nothing is copied, nothing can raise. The record's members keep their places in
/// memory, or the places that they left would be lost to the long text that is written next.
void putStamp(Dictionary& record, Dictionary& stamp) {
    for (auto& [key, value] : stamp)
        if (const auto before = record.find(key); before != record.end()) std::swap(before->second, value);
    record.merge(stamp);
}

/// Stamps all records of the list in one step, where they stand, so that a long list is not in memory twice. Those that
/// an overlapping pass has appended since the stamps were made stay without. What is no list becomes an empty one.
void stampRecords(Dictionary& held, const std::string& key, List& stamps) {
    const auto section = held.find(key);
    if (section == held.end()) return;
    auto* records = section->second.list();
    if (records == nullptr) {
        section->second = List();
        return;
    }
    for (std::size_t i = 0; i < std::min(records->size(), stamps.size()); ++i)
        if (auto* record = (*records)[i].dictionary()) putStamp(*record, *stamps[i].dictionary());
}

void markSection(DocumentManager& manager, NamedMap& document, const MarkedSection& section) {
    const auto& key = section.type().typeValue();
    if (!document.has(key)) return;
    switch (section.shape) {
        case MarkedSection::Shape::records: {
            auto stamps = blankStamps(document, key);
            manager.markVersionArr(stamps);
            document.change([&](Dictionary& held) { stampRecords(held, key, stamps); });
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
