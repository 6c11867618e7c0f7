#include "bench/CurlPoster.hpp"

#include <cstddef>
#include <curl/curl.h>
#include <stdexcept>

namespace harvelstone::bench {

namespace {

std::size_t dropAnswer(char*, std::size_t size, std::size_t count, void*) { return size * count; }

}  // namespace

CurlPoster::CurlPoster(const std::string& url, Connection connection) : handle_(curl_easy_init()) {
    if (handle_ == nullptr) throw std::runtime_error("libcurl: no handle");
    headers_ = curl_slist_append(headers_, "Content-Type: application/octet-stream");
    headers_ = curl_slist_append(headers_, "Content-Encoding: gzip");
    headers_ = curl_slist_append(headers_, "Expect:");
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &dropAnswer);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    if (connection == Connection::newEachTime) curl_easy_setopt(handle_, CURLOPT_FORBID_REUSE, 1L);
}

CurlPoster::~CurlPoster() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
}

void CurlPoster::post(std::string_view body) {
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    if (const auto result = curl_easy_perform(handle_); result != CURLE_OK)
        throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(result));
}

}  // namespace harvelstone::bench
