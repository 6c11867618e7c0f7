#pragma once

#include <memory>

#include "harvelstone/api/harvelstone.h"
#include "harvelstone/platform/HttpClient.hpp"
#include "harvelstone/platform/Log.hpp"
#include "harvelstone/platform/RunLoop.hpp"

/// The parts of the machine that a host provides by C callbacks.
namespace harvelstone {

std::shared_ptr<platform::Log> logOfHost(harvelstone_log_callback callback, void* userData);
std::shared_ptr<platform::RunLoop> mainQueueOfHost(harvelstone_main_queue_callback callback, void* userData);
std::shared_ptr<platform::HttpClient> httpClientOfHost(harvelstone_http_callback callback, void* userData);

}  // namespace harvelstone
