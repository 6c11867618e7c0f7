#include "harvelstone/platform/FolderClaim.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "harvelstone/platform/Fork.hpp"

namespace harvelstone::platform {

std::optional<FolderClaim> FolderClaim::of(const std::string& folder) {
    // With a slash behind its name a link would be followed.
    const auto name = folder.substr(0, folder.find_last_not_of('/') + 1);
    const int descriptor = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return std::nullopt;
    closeInChild(descriptor);
    FolderClaim claim(descriptor);
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) return std::nullopt;
    return claim;
}

FolderClaim::~FolderClaim() {
    if (descriptor_ < 0) return;
    flock(descriptor_, LOCK_UN);
    keepInChild(descriptor_);
    close(descriptor_);
}

}  // namespace harvelstone::platform
