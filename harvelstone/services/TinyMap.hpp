#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// The registry of named maps, one per process. Any thread may use it.
class TinyMap {
  public:
    static TinyMap& sharedInstance();

    /// The map of that name: the one already handed out, else loaded from its file, else empty. It stays in memory even
    /// when its file is deleted. A name that cannot be a file name raises platform::InvalidArgumentException.
    std::shared_ptr<NamedMap> get(const std::string& name);

  private:
    std::mutex mutex_;  // never held while a file is read or a line is logged
    std::map<std::string, std::shared_ptr<NamedMap>> maps_;
};

}  // namespace harvelstone
