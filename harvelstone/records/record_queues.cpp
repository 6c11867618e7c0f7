// Goals, events and campaigns go into the queues of the newest document (GOAL_, EVENT_ and CAMPAIGN_FILE_PREFIX), the
// goal pair, product and category into the document DB map (PARAM_G, PARAM_PNC, PARAM_PNC_NM, PARAM_PNG,
// PARAM_PNG_NM), where every later goal finds them. Runs on the caller's thread.

#include <fmt/format.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"

namespace harvelstone {

namespace {

using Row = std::pair<std::string_view, std::optional<Value>>;

/// The queue of the newest document. Made anew for every record: the newest document changes.
QueueFile newestQueue(DocumentManager& manager, const std::string& prefix) {
    return QueueFile(fmt::format("{}{}", prefix, manager.getLaistDocId()));
}

Dictionary datedRecord() {
    Dictionary record;
    setValue(record, StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString());
    return record;
}

/// The record is added last, so that an absent value leaves the queue as it was.
void addRecord(DocumentManager& manager, const std::string& prefix, std::initializer_list<Row> rows) {
    QueueFile queue = newestQueue(manager, prefix);
    auto record = datedRecord();
    for (const auto& [key, value] : rows) setValue(record, key, value);
    queue.add(record);
}

const Value& elementAt(const List& list, std::size_t index) {
    if (index >= list.size())
        throw platform::RangeException(
            fmt::format("index {} is outside the stored goal, which holds {} numbers", index, list.size()));
    return list[index];
}

/// The goal that was set last, under PARAM_G followed by its number; nothing if none ever was.
void putStoredGoal(Dictionary& record) {
    const auto stored = (*documentDB)->get(StaticValues::PARAM_G());
    const List* pair = stored ? stored->list() : nullptr;
    if (pair == nullptr) return;
    const auto& goal = elementAt(*pair, 0);
    const auto& value = elementAt(*pair, 1);
    if (goal.isNull()) return;
    setValue(record, fmt::format("{}{}", StaticValues::PARAM_G(), platform::describe(goal)), value);
}

void rememberNamedCode(const std::string& codeKey, std::optional<std::string> code, const std::string& nameKey,
                       std::optional<std::string> name) {
    const StorageBatch batch;
    (*documentDB)->putString(codeKey, std::move(code));
    (*documentDB)->putString(nameKey, std::move(name).value_or(""));
}

}  // namespace

void DocumentManager::setGoal(std::int64_t goal, std::int64_t value) {
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{goal, value});
}

void DocumentManager::putGoal() {
    QueueFile queue = newestQueue(*this, StaticValues::GOAL_FILE_PREFIX());
    auto record = datedRecord();
    setValue(record, StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString());  // once more: the later date stays
    putStoredGoal(record);
    for (const auto* key : {&StaticValues::PARAM_PNC(), &StaticValues::PARAM_PNC_NM(), &StaticValues::PARAM_PNG(),
                            &StaticValues::PARAM_PNG_NM()})
        setValue(record, *key, (*documentDB)->get(*key));
    queue.add(record);
}

void DocumentManager::setProduct(std::optional<std::string> code, std::optional<std::string> name) {
    rememberNamedCode(StaticValues::PARAM_PNC(), std::move(code), StaticValues::PARAM_PNC_NM(), std::move(name));
}

void DocumentManager::setProductCategory(std::optional<std::string> code, std::optional<std::string> name) {
    rememberNamedCode(StaticValues::PARAM_PNG(), std::move(code), StaticValues::PARAM_PNG_NM(), std::move(name));
}

void DocumentManager::setEvent(std::optional<Value> type, std::optional<Value> name, std::optional<Value> value) {
    addRecord(*this, StaticValues::EVENT_FILE_PREFIX(),
              {{StaticValues::PARAM_TYPE(), std::move(type)},
               {StaticValues::PARAM_NAME(), std::move(name)},
               {StaticValues::PARAM_VALUE(), std::move(value)}});
}

void DocumentManager::setCampaign(std::optional<Value> type, std::optional<Value> name, std::optional<Value> value,
                                  std::optional<Value> referer) {
    addRecord(*this, StaticValues::CAMPAIGN_FILE_PREFIX(),
              {{StaticValues::PARAM_TYPE(), std::move(type)},
               {StaticValues::PARAM_NAME(), std::move(name)},
               {StaticValues::PARAM_VALUE(), std::move(value)},
               {StaticValues::PARAM_REFERER(), std::move(referer)}});
}

}  // namespace harvelstone
