// The registry of named maps. Stores nothing itself; a map that is handed out for the first time reads its file. Any
// thread.

#include "harvelstone/services/TinyMap.hpp"

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

TinyMap& TinyMap::sharedInstance() {
    static constinit platform::PerProcess<TinyMap> registry;
    return *registry;
}

std::shared_ptr<NamedMap> TinyMap::get(const std::string& name) {
    std::shared_ptr<NamedMap> map;
    {
        const std::lock_guard lock(mutex_);
        auto known = maps_.find(name);
        if (known == maps_.end()) known = maps_.emplace(name, std::make_shared<NamedMap>(name)).first;
        map = known->second;
    }
    map->load();
    return map;
}

}  // namespace harvelstone
