#include "harvelstone/platform/http_url.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <memory>
#include <netinet/in.h>
#include <strings.h>

namespace harvelstone::platform {
namespace {

struct FreeUrl {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct FreeText {
    void operator()(char* text) const { curl_free(text); }
};

/// A URL taken apart.
class ParsedUrl {
  public:
    // Other schemes are let in here, so that the refusal can name them.
    explicit ParsedUrl(const std::string& url)
        : handle_(curl_url()),
          status_(handle_ ? curl_url_set(handle_.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME)
                          : CURLUE_OUT_OF_MEMORY) {}

    bool isParsed() const { return status_ == CURLUE_OK; }
    std::string whyNot() const { return curl_url_strerror(status_); }

    /// Absent when the URL has no such part.
    std::optional<std::string> part(CURLUPart which) const {
        char* text = nullptr;
        if (curl_url_get(handle_.get(), which, &text, 0) != CURLUE_OK) return std::nullopt;
        return std::unique_ptr<char, FreeText>(text).get();
    }

  private:
    std::unique_ptr<CURLU, FreeUrl> handle_;
    CURLUcode status_;
};

std::optional<std::string> refusalOfCharacters(std::string_view url) {
    const auto bad = std::find_if(url.begin(), url.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte <= 0x20 || byte == 0x7F;
    });
    if (bad == url.end()) return std::nullopt;
    const auto what = *bad == '\0' ? "NUL" : *bad == ' ' ? "a blank" : "a control character";
    return fmt::format("the URL holds {} at byte {}", what, bad - url.begin());
}

bool isHttp(std::string_view scheme) { return scheme == "http" || scheme == "https"; }

/// libcurl takes "http:/a" and "http:///a" for "http://a".
bool namesHost(std::string_view url) {
    constexpr std::string_view start = "://";
    const auto place = url.find(':');
    return url.substr(place).starts_with(start) && !url.substr(place + start.size()).starts_with('/');
}

/// Whether the host is an address of the loopback network, and no name that only begins like one.
bool isLoopbackAddress(const std::string& host) {
    in_addr four{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1) return (ntohl(four.s_addr) >> IN_CLASSA_NSHIFT) == IN_LOOPBACKNET;
    if (!host.starts_with('[') || !host.ends_with(']')) return false;
    in6_addr six{};
    return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) == 1 &&
           std::equal(std::begin(six.s6_addr), std::end(six.s6_addr), std::begin(in6addr_loopback.s6_addr));
}

}  // namespace

std::optional<std::string> refusalOfUrl(const std::string& url) {
    if (url.empty()) return "the URL is empty";
    if (auto refusal = refusalOfCharacters(url)) return refusal;
    // What stands before an "@" may be a password, and reasons end up in logs.
    const auto shown = url.find('@') == std::string::npos ? fmt::format("the URL \"{}\"", url) : "the URL";
    const ParsedUrl parsed(url);
    if (!parsed.isParsed()) return fmt::format("{} cannot be parsed: {}", shown, parsed.whyNot());
    if (parsed.part(CURLUPART_USER) || parsed.part(CURLUPART_PASSWORD)) return "the URL holds credentials";
    const auto scheme = parsed.part(CURLUPART_SCHEME).value_or("");
    if (!isHttp(scheme)) return fmt::format("the scheme of {} is neither http nor https: {}", shown, scheme);
    if (!namesHost(url)) return shown + " has no host";
    return std::nullopt;
}

std::optional<std::string> refusalOfRedirect(const std::string& from, const std::string& to) {
    if (auto refusal = refusalOfUrl(to)) return "the answer redirects where nothing is sent: " + *refusal;
    const auto isSafe = [](const std::string& url) { return ParsedUrl(url).part(CURLUPART_SCHEME) == "https"; };
    if (isSafe(from) && !isSafe(to)) return "the answer redirects from https to http";
    return std::nullopt;
}

bool leadsToThisDevice(const std::string& url) {
    const auto host = ParsedUrl(url).part(CURLUPART_HOST).value_or("");
    return strcasecmp(host.c_str(), "localhost") == 0 || isLoopbackAddress(host);
}

}  // namespace harvelstone::platform
