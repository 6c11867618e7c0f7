#pragma once

#include <cstddef>
#include <memory>

#include "harvelstone/platform/HttpClient.hpp"

namespace harvelstone::bench {

/// Takes requests and never answers.
class QuietHttpClient final : public platform::HttpClient {
  public:
    void sendAsynchronousRequest(platform::HttpRequest, std::shared_ptr<platform::RunLoop>,
                                 platform::HttpCompletion) override {
        ++requests;
    }

    std::size_t requests = 0;
};

}  // namespace harvelstone::bench
