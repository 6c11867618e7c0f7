#pragma once

#include <memory>

#include "harvelstone/services/NamedMap.hpp"
#include "harvelstone/services/TinyMap.hpp"

namespace harvelstone::service_stores {

/// The maps of the services, which pruning spares by these names. A first use reads the file and may log, so a service
/// asks for its map before it takes its lock.

inline std::shared_ptr<NamedMap> profile() { return TinyMap::sharedInstance().get("current_profile_file"); }
inline std::shared_ptr<NamedMap> configuration() { return TinyMap::sharedInstance().get("current_config_file"); }
inline std::shared_ptr<NamedMap> sessionValues() { return TinyMap::sharedInstance().get("BS_SESSION_MAP"); }
inline std::shared_ptr<NamedMap> visits() { return TinyMap::sharedInstance().get("BS_SESSION"); }
inline std::shared_ptr<NamedMap> postback() { return TinyMap::sharedInstance().get("postbackDB"); }

}  // namespace harvelstone::service_stores
