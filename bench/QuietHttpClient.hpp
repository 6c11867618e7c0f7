#pragma once

#include <memory>
#include <stdexcept>

#include "harvelstone/platform/HttpClient.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::bench {

/// Takes requests and never answers.
class QuietHttpClient final : public platform::HttpClient {
  public:
    void sendAsynchronousRequest(platform::HttpRequest, std::shared_ptr<platform::RunLoop>,
                                 platform::HttpCompletion) override {
        wasAsked_ = true;
    }

    /// To be called after each pass: what was measured must have come to its end.
    void requireRequest() {
        if (!wasAsked_) throw std::runtime_error("nothing was sent: is this machine connected?");
        wasAsked_ = false;
    }

  private:
    bool wasAsked_ = false;
};

inline platform::Platform platformWith(std::shared_ptr<QuietHttpClient> client) {
    platform::Platform platform;
    platform.httpClient = std::move(client);
    return platform;
}

}  // namespace harvelstone::bench
