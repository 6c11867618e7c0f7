// Requests as they were sent, decoded by code that shares nothing with the library's, and their answers.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <strings.h>
#include <utility>
#include <zlib.h>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/TestPlatform.hpp"
#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {
namespace {

std::string readToEnd(platform::BodyStream& stream) {
    std::string bytes;
    std::array<char, 1000> buffer{};
    while (const auto count = stream.read(buffer)) bytes.append(buffer.data(), count);
    return bytes;
}

std::string gunzipped(const std::string& bytes) {
    constexpr int gzipOnly = 16 + MAX_WBITS;
    z_stream stream{};
    if (inflateInit2(&stream, gzipOnly) != Z_OK) throw std::runtime_error("inflateInit2 failed");
    std::string input = bytes;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    std::string text;
    std::array<char, 4096> buffer{};
    int state = Z_OK;
    while (state == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
        stream.avail_out = static_cast<uInt>(buffer.size());
        state = inflate(&stream, Z_NO_FLUSH);
        text.append(buffer.data(), buffer.size() - stream.avail_out);
    }
    const bool isWhole = state == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    if (!isWhole) throw std::runtime_error("the body is not one whole gzip stream");
    return text;
}

std::string percentDecoded(const std::string& text) {
    std::string decoded;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '%') {
            decoded += text[index];
            continue;
        }
        const auto digits = text.substr(index + 1, 2);
        if (digits.size() != 2 || digits.find_first_not_of("0123456789ABCDEF") != std::string::npos)
            throw std::runtime_error("a percent sign without two upper-case hexadecimal digits");
        decoded += static_cast<char>(std::stoi(digits, nullptr, 16));
        index += 2;
    }
    return decoded;
}

/// As the real client: http or https, then a host, and nothing that a URL cannot hold.
void checkUrl(const std::string& url) {
    const auto hostStart = url.starts_with("http://") ? 7U : url.starts_with("https://") ? 8U : 0U;
    const bool hasHost = hostStart != 0 && url.find_first_of("/?#:", hostStart) != hostStart && url.size() > hostStart;
    const auto isBlank = [](char character) { return static_cast<unsigned char>(character) <= ' '; };
    if (!hasHost || std::any_of(url.begin(), url.end(), isBlank))
        throw platform::InvalidArgumentException("\"" + url + "\" is no http or https URL");
}

}  // namespace

std::optional<std::string> SentRequest::header(std::string_view name) const {
    const std::string wanted(name);
    for (const auto& header : request.headers)
        if (strcasecmp(header.name.c_str(), wanted.c_str()) == 0) return header.value;
    return std::nullopt;
}

std::string SentRequest::json() const { return percentDecoded(gunzipped(body)); }

Value SentRequest::document() const { return independentlyParsed(json()).value(); }

void FakeHttpClient::sendAsynchronousRequest(platform::HttpRequest request, std::shared_ptr<platform::RunLoop> queue,
                                             platform::HttpCompletion completionHandler) {
    if (onStart) onStart();
    checkUrl(request.url);
    auto body = request.body ? readToEnd(*request.body) : std::string();
    const std::lock_guard lock(mutex_);
    requests.push_back({std::move(request), std::move(body), std::move(queue), std::move(completionHandler)});
}

void FakeHttpClient::answer(std::optional<std::string> body) {
    if (requests.empty()) throw std::logic_error("no request was sent");
    answer(requests.size() - 1, std::move(body));
}

void FakeHttpClient::answer(std::size_t requestIndex, std::optional<std::string> body) {
    if (body) {
        complete(requestIndex, {.status = 200, .headers = {}}, body, std::nullopt);
    } else {
        complete(requestIndex, {}, std::nullopt, platform::HttpError{"no answer"});
    }
}

void FakeHttpClient::complete(std::size_t requestIndex, const platform::HttpResponse& response,
                              const std::optional<std::string>& body, const std::optional<platform::HttpError>& error) {
    auto& request = requests.at(requestIndex);
    const auto completion = std::exchange(request.completion, nullptr);  // it may send, and so move the requests
    if (!completion) throw std::logic_error("the request was answered before");
    const platform::RunLoop::Running running(request.queue);
    completion(response, body, error);
}

}  // namespace harvelstone::testing
