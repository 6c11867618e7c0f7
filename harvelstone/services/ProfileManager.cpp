// The member profile and the revenues: reads and writes the profile names and the key "revenue" of
// "current_profile_file". Any thread; the mutex is given back before anything is written, so that no log line is
// written under it.

#include "harvelstone/services/ProfileManager.hpp"

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/Setting.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StoredEntry.hpp"
#include "harvelstone/services/revenue_rules.hpp"
#include "harvelstone/services/service_stores.hpp"

namespace harvelstone {

namespace {

constexpr Setting profileValues[] = {
    {"advId"},
    {"advIdFlag", SettingKind::boolean},
    {"mbr"},
    {"memberLvl"},
    {"memberCd"},
    {"gender"},
    {"age"},
    {"uvp1"},
    {"uvp2"},
    {"uvp3"},
    {"uvp4"},
    {"uvp5"},
    {"userId"},
    {"ltrvnc", SettingKind::integer},
    {"ltrvni", SettingKind::integer},
    {"udRvnc", SettingKind::integer},
};

constexpr std::string_view revenueKey = "revenue";
constexpr std::string_view markedKey = "marked";
constexpr std::string_view orderTimeKey = "order_time";

/// The stored value; "" when none was put, or one of another kind; absent when it was cleared.
std::optional<Value> textValue(std::string_view name) {
    auto entry = storedEntry(*service_stores::profile(), name);
    const bool isUsable = entry.isKnown && (!entry.value || fits(SettingKind::textOrNumber, *entry.value));
    return isUsable ? std::move(entry.value) : Value("");
}

/// The stored integer; 0 when there is none, or a value of another kind.
std::int64_t integerUnder(std::string_view name) {
    const auto value = storedEntry(*service_stores::profile(), name).value;
    return value && value->isInteger() ? value->integerValue() : 0;
}

bool isMarked(const Dictionary& revenue) { return findValue(revenue, markedKey) == Value(true); }

std::optional<double> orderTime(const Dictionary& revenue) {
    const auto time = findValue(revenue, orderTimeKey);
    return time && time->isNumber() ? std::optional(time->doubleValue()) : std::nullopt;
}

}  // namespace

std::span<const std::string_view> profileNames() {
    static constexpr auto names = namesOf(profileValues);
    return names;
}

Dictionary withNullsEmptied(Dictionary profile) {
    for (auto& [name, value] : profile) {
        const auto* setting = findSetting(profileValues, name);
        if (value.isNull() && setting != nullptr) value = emptyValue(setting->kind);
    }
    return profile;
}

ProfileManager& ProfileManager::sharedInstance() {
    static constinit platform::PerProcess<ProfileManager> instance;
    return *instance;
}

std::optional<Value> ProfileManager::getAdvId() const { return textValue("advId"); }

bool ProfileManager::getAdvIdFlag() const {
    return storedEntry(*service_stores::profile(), "advIdFlag").value == Value(true);
}

std::optional<Value> ProfileManager::getMbr() const { return textValue("mbr"); }

std::optional<Value> ProfileManager::getMemberLvl() const { return textValue("memberLvl"); }

std::optional<Value> ProfileManager::getMemberCd() const { return textValue("memberCd"); }

std::optional<Value> ProfileManager::getGender() const { return textValue("gender"); }

std::optional<Value> ProfileManager::getAge() const { return textValue("age"); }

std::optional<Value> ProfileManager::getUvp1() const { return textValue("uvp1"); }

std::optional<Value> ProfileManager::getUvp2() const { return textValue("uvp2"); }

std::optional<Value> ProfileManager::getUvp3() const { return textValue("uvp3"); }

std::optional<Value> ProfileManager::getUvp4() const { return textValue("uvp4"); }

std::optional<Value> ProfileManager::getUvp5() const { return textValue("uvp5"); }

std::optional<Value> ProfileManager::getUserId() const { return textValue("userId"); }

std::int64_t ProfileManager::getLtrvnc() const { return integerUnder("ltrvnc"); }

std::int64_t ProfileManager::getLtrvni() const { return integerUnder("ltrvni"); }

std::int64_t ProfileManager::getUdRvnc() const { return integerUnder("udRvnc"); }

void ProfileManager::setProfile(const Dictionary& values) {
    checkSettings(profileValues, values);
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    for (const auto& [name, value] : values) putEntry(*store, name, value);
}

bool ProfileManager::isMarkRevenue() const {
    return isMarked(service_stores::profile()->getMutableDictionary(revenueKey));
}

void ProfileManager::unMarkRevenue() {
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    auto revenue = store->getMutableDictionary(revenueKey);
    if (!isMarked(revenue)) return;
    setValue(revenue, markedKey, false);
    store->putDictionary(revenueKey, std::move(revenue));
}

void ProfileManager::markRevenue() {
    const auto limitDays = SessionManager::sharedInstance().getConfig()->getReturnVisitDate();
    const double now = BSUtil::currentTimeMillis();
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    auto revenue = store->getMutableDictionary(revenueKey);
    const RevenueCounts before{.revenues = getLtrvnc(), .daysBetween = getLtrvni(), .returnRevenues = getUdRvnc()};
    const auto after = afterRevenue(before, orderTime(revenue), now, limitDays);
    putEntry(*store, "ltrvnc", after.revenues);
    putEntry(*store, "ltrvni", after.daysBetween);
    putEntry(*store, "udRvnc", after.returnRevenues);
    setValue(revenue, markedKey, true);
    setValue(revenue, orderTimeKey, now);
    store->putDictionary(revenueKey, std::move(revenue));
}

void ProfileManager::initOrderPTime() {
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    auto revenue = store->getMutableDictionary(revenueKey);
    setValue(revenue, orderTimeKey, BSUtil::currentTimeMillis());
    store->putDictionary(revenueKey, std::move(revenue));
}

}  // namespace harvelstone
