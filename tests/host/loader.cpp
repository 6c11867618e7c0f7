// usage: host_loader PLUGIN FUNCTION URL FOLDER
// Loads the plug-in, calls its function, and unloads it while the test holds the answer back.
#include <dlfcn.h>

#include "tests/host/talk.hpp"

using namespace host;

int main(int count, char** arguments) {
    if (count != 5) return 2;
    void* plugin = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        say(dlerror());
        return 3;
    }
    using Function = void (*)(const char*, const char*);
    reinterpret_cast<Function>(dlsym(plugin, arguments[2]))(arguments[3], arguments[4]);
    say("ready");
    waitForTest();
    if (dlclose(plugin) != 0) return 4;
    say("unloaded");
    waitForTest();
    announceEnd();
    return 0;
}
