// usage: host_bare WAY
// An app that never had the library, to compare with.
#include "tests/host/talk.hpp"

int main(int count, char** arguments) {
    if (count != 2) return 2;
    host::say("ready");
    host::waitForTest();
    host::end(arguments[1]);
    return 0;
}
