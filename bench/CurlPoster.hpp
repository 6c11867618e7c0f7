#pragma once

#include <string>
#include <string_view>

using CURL = void;
struct curl_slist;

namespace harvelstone::bench {

enum class Connection { kept, newEachTime };

/// libcurl as an app would use it by hand: one handle, the header lines of an upload. What fails raises
/// std::runtime_error.
class CurlPoster {
  public:
    CurlPoster(const std::string& url, Connection connection);
    ~CurlPoster();
    CurlPoster(const CurlPoster&) = delete;
    CurlPoster& operator=(const CurlPoster&) = delete;

    /// Posts the body and waits for the answer.
    void post(std::string_view body);

  private:
    CURL* handle_;
    curl_slist* headers_ = nullptr;
};

}  // namespace harvelstone::bench
