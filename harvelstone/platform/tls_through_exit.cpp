#include "harvelstone/platform/tls_through_exit.hpp"

#include <cstdint>
#include <dlfcn.h>

namespace harvelstone::platform {

void keepTlsThroughExit() noexcept {
    // Looked up, not linked: TLS is libcurl's own affair, and need not be OpenSSL.
    using Initialize = int (*)(std::uint64_t options, const void* settings);
    constexpr std::uint64_t withoutExitHandler = 0x00080000;  // OPENSSL_INIT_NO_ATEXIT
    if (auto* const initialize = reinterpret_cast<Initialize>(dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto")))
        initialize(withoutExitHandler, /*settings=*/nullptr);
}

}  // namespace harvelstone::platform
