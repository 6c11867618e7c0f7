#pragma once

#include <string>

#include "tests/host/host_app.hpp"

namespace host {

/// Starts the library and sees to it that the deed of that name falls into the exit of the process.
void prepareLastMinute(const std::string& deed, const Orders& orders);

}  // namespace host
