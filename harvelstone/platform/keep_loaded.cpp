#include "harvelstone/platform/keep_loaded.hpp"

#include <atomic>
#include <dlfcn.h>
#include <link.h>

namespace harvelstone::platform {

void keepLoaded() {
    static constinit std::atomic<bool> isKept = false;
    if (isKept.exchange(true)) return;
    Dl_info info{};
    void* found = nullptr;
    if (dladdr1(reinterpret_cast<const void*>(&keepLoaded), &info, &found, RTLD_DL_LINKMAP) == 0 || !found) return;
    const auto* object = static_cast<const link_map*>(found);
    if (*object->l_name == '\0') return;  // the program itself
    // The flag stays with the object after the handle was given back.
    if (auto* handle = dlopen(object->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)) dlclose(handle);
}

}  // namespace harvelstone::platform
