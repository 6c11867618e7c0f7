// Postback data: reads and writes the keys "data" and "referrer" of "postbackDB". Any thread.

#include "harvelstone/services/HarvelstonePostback.hpp"

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/StoredEntry.hpp"
#include "harvelstone/services/service_stores.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view dataKey = "data";
constexpr std::string_view referrerKey = "referrer";  // also the member of the postback section

}  // namespace

HarvelstonePostback& HarvelstonePostback::sharedInstance() {
    static constinit platform::PerProcess<HarvelstonePostback> instance;
    return *instance;
}

Dictionary HarvelstonePostback::getPostbackJosn() const {
    const auto store = service_stores::postback();
    auto postback = store->getMutableDictionary(dataKey);
    if (const auto referrer = storedEntry(*store, referrerKey).value) setValue(postback, referrerKey, referrer);
    return postback;
}

void HarvelstonePostback::removePostbackReferrer() {
    const auto store = service_stores::postback();
    if (storedEntry(*store, referrerKey).value) putEntry(*store, referrerKey, nullptr);
}

void HarvelstonePostback::setPostbackReferrer(const std::string& referrer) {
    putEntry(*service_stores::postback(), referrerKey, referrer);
}

void HarvelstonePostback::setPostbackData(const Dictionary& values) {
    service_stores::postback()->putDictionary(dataKey, values);
}

}  // namespace harvelstone
