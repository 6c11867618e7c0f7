#pragma once

namespace harvelstone::platform {

/// Has OpenSSL stay as it is when the process exits, so that a worker that is inside it may be there to the last. To be
/// called before libcurl is set up. Without effect if the host has set OpenSSL up before, or libcurl uses another TLS
/// library: there the end of the process waits for the workers, for a short while (see ExitGuard).
void keepTlsThroughExit() noexcept;

}  // namespace harvelstone::platform
