// usage: host_loader PLUGIN FUNCTION URL FOLDER
// Loads the plug-in, calls its function, and unloads it while the test holds the answer back.
#include <chrono>
#include <dlfcn.h>
#include <string>
#include <unistd.h>

namespace {

void say(const std::string& line) {
    const auto text = line + "\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(9);
}

void waitForTest() {
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) == 1 && byte != '\n') continue;
}

}  // namespace

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
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    say("ending " + std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
    return 0;
}
