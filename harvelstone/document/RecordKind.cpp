// The kinds of records and the names of their queues (the FILE_PREFIX texts). Pure functions, any thread.

#include "harvelstone/document/RecordKind.hpp"

#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone {

std::string_view recordKindName(RecordKind kind) {
    switch (kind) {
        case RecordKind::page:
            return "page";
        case RecordKind::click:
            return "click";
        case RecordKind::goal:
            return "goal";
        case RecordKind::revenue:
            return "revenue";
        case RecordKind::push:
            return "push";
        case RecordKind::event:
            return "event";
        case RecordKind::campaign:
            return "campaign";
    }
    return "unknown";
}

const std::string& queuePrefix(RecordKind kind) {
    switch (kind) {
        case RecordKind::page:
            return StaticValues::PAGES_FILE_PREFIX();
        case RecordKind::click:
            return StaticValues::CLICK_FILE_PREFIX();
        case RecordKind::goal:
            return StaticValues::GOAL_FILE_PREFIX();
        case RecordKind::revenue:
            return StaticValues::REVENUE_FILE_PREFIX();
        case RecordKind::push:
            return StaticValues::PUSH_FILE_PREFIX();
        case RecordKind::event:
            return StaticValues::EVENT_FILE_PREFIX();
        case RecordKind::campaign:
            break;
    }
    return StaticValues::CAMPAIGN_FILE_PREFIX();
}

std::optional<QueueOwner> queueOwner(std::string_view name) {
    for (const auto kind : allRecordKinds)
        if (const auto& prefix = queuePrefix(kind); name.starts_with(prefix))
            return QueueOwner{kind, std::string(name.substr(prefix.size()))};
    return std::nullopt;
}

}  // namespace harvelstone
