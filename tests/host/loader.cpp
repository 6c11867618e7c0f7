// usage: host_loader PLUGIN FUNCTION URL FOLDER ["and end"]
// Loads the plug-in, calls its function, and unloads it when the test says so; then goes on, or ends at once. What the
// library logs on standard error goes to the test, too.
#include <dlfcn.h>
#include <unistd.h>

#include "tests/host/talk.hpp"

using namespace host;

int main(int count, char** arguments) {
    if (count < 5) return 2;
    const bool endsAtOnce = count == 6;
    dup2(STDOUT_FILENO, STDERR_FILENO);
    void* plugin = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        say(dlerror());
        return 3;
    }
    using Function = void (*)(const char*, const char*);
    reinterpret_cast<Function>(dlsym(plugin, arguments[2]))(arguments[3], arguments[4]);
    say("ready");
    waitForTest();
    if (endsAtOnce) announceEnd();
    if (dlclose(plugin) != 0) return 4;
    if (endsAtOnce) return 0;
    say("unloaded");
    waitForTest();
    return 0;
}
