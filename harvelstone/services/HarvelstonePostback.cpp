// Postback data: reads and writes the keys "data" and "referrer" of "postbackDB". Any thread.

#include "harvelstone/services/HarvelstonePostback.hpp"

#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/services/StoredEntry.hpp"
#include "harvelstone/services/TinyMap.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view dataKey = "data";
constexpr std::string_view referrerKey = "referrer";  // also the member of the postback section

std::shared_ptr<NamedMap> postbackStore() { return TinyMap::sharedInstance().get("postbackDB"); }

}  // namespace

HarvelstonePostback& HarvelstonePostback::sharedInstance() {
    static platform::NeverDestroyed<HarvelstonePostback> instance;
    return *instance;
}

Dictionary HarvelstonePostback::getPostbackJosn() const {
    const auto store = postbackStore();
    auto postback = store->getMutableDictionary(dataKey);
    if (const auto referrer = storedEntry(*store, referrerKey).value) setValue(postback, referrerKey, referrer);
    return postback;
}

void HarvelstonePostback::removePostbackReferrer() {
    const auto store = postbackStore();
    if (storedEntry(*store, referrerKey).value) putEntry(*store, referrerKey, nullptr);
}

void HarvelstonePostback::setPostbackReferrer(const std::string& referrer) {
    putEntry(*postbackStore(), referrerKey, referrer);
}

void HarvelstonePostback::setPostbackData(const Dictionary& values) { postbackStore()->putDictionary(dataKey, values); }

}  // namespace harvelstone
