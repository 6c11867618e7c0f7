// The session-scoped values and the install referrer, in "BS_SESSION_MAP", and the permission to send, under the key
// "permission" of "current_profile_file". Any thread.

#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SendPermission.hpp"
#include "harvelstone/services/Setting.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StoredEntry.hpp"
#include "harvelstone/services/Tracker.hpp"
#include "harvelstone/services/service_stores.hpp"
#include "harvelstone/services/session_data.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view permissionKey = "permission";
constexpr std::string_view retryMember = "retry";
constexpr std::string_view trafficLimitMember = "traffic_limit_exceeded";

bool isTextOrNumber(const Value& value) { return fits(SettingKind::textOrNumber, value); }

bool isList(const Value& value) { return value.list() != nullptr; }

/// The stored value if it is of the kind, absent when it was cleared, else the key's default if that is of the kind.
std::optional<Value> sessionValue(std::string_view key, bool (*isOfKind)(const Value&)) {
    auto entry = storedEntry(*service_stores::sessionValues(), key);
    if (entry.isKnown && (!entry.value || isOfKind(*entry.value))) return std::move(entry.value);
    auto otherwise = sessionDefault(key);
    return otherwise && isOfKind(*otherwise) ? std::move(otherwise) : std::nullopt;
}

SendPermission storedPermission(const NamedMap& store) {
    return permissionFrom(store.getMutableDictionary(permissionKey));
}

void storePermission(NamedMap& store, const SendPermission& permission) {
    if (permission != storedPermission(store)) store.putDictionary(permissionKey, toDictionary(permission));
}

}  // namespace

std::optional<Value> ProfileManager::getSessionStringData(const std::string& key) const {
    return sessionValue(key, isTextOrNumber);
}

std::int64_t ProfileManager::getSessionLongData(const std::string& key) const {
    return integerValue(storedEntry(*service_stores::sessionValues(), key).value);
}

std::int64_t ProfileManager::getSessionIntegerData(const std::string& key) const { return getSessionLongData(key); }

std::optional<List> ProfileManager::getSessionStringListData(const std::string& key) const {
    const auto value = sessionValue(key, isList);
    return value ? std::optional(*value->list()) : std::nullopt;
}

void ProfileManager::putSessionStringData(const std::string& key, const Value& value) { putSessionData(key, value); }

void ProfileManager::putSessionBoolData(const std::string& key, bool value) { putSessionData(key, value); }

void ProfileManager::putSessionData(const std::string& key, const Value& value) {
    putEntry(*service_stores::sessionValues(), key, value);
}

void ProfileManager::clearSessionTrace(const std::string& key) { putSessionData(key, List()); }

bool ProfileManager::isInstallReferrerSet() const {
    return getSessionLongData(StaticValues::IS_INSTALL_REFERRER_SET()) != 0;
}

void ProfileManager::setInstallReferrer() {
    const StorageBatch batch;
    const auto store = service_stores::sessionValues();
    const std::lock_guard lock(mutex_);
    const auto& key = StaticValues::IS_INSTALL_REFERRER_SET();
    if (!storedEntry(*store, key).value) putEntry(*store, key, /*value=*/false);
}

bool ProfileManager::shouldSend(bool respectsServerWait) const {
    const auto store = service_stores::profile();
    if (!store->load()) return false;  // nobody knows whether the user agreed
    return maySend(storedPermission(*store), BSUtil::currentTimeMillis(), respectsServerWait);
}

bool ProfileManager::updateResponse(const Dictionary& reply) {
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    storePermission(*store, afterReply(storedPermission(*store), reply, BSUtil::currentTimeMillis()));

    const auto limit = findValue(reply, trafficLimitMember);
    if (limit && limit->isBoolean())
        Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = limit->integerValue() != 0;
    return findValue(reply, retryMember) == Value(true);
}

void ProfileManager::setConsent(bool granted) {
    const StorageBatch batch;
    const auto store = service_stores::profile();
    const std::lock_guard lock(mutex_);
    storePermission(*store, afterConsent(storedPermission(*store), granted));
}

}  // namespace harvelstone
