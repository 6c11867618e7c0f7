#include "tests/host/TlsOfHost.hpp"

#include <fstream>

namespace harvelstone::testing {

TlsOfHost::TlsOfHost(const std::string& documents, int plainPort) : front_(authority_.issue(), plainPort) {
    std::ofstream(documents + "/authorities.pem") << authority_.certificate();
}

}  // namespace harvelstone::testing
