#include "harvelstone/platform/http_url.hpp"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace harvelstone::platform {
namespace {

TEST(HttpUrl, IsFitWithHttpOrHttpsAndAHost) {
    for (const char* url : {"http://a", "https://a.example/", "HTTP://A/", "http://a:8080/b/c?d=e&f#g",
                            "https://127.0.0.1:1/", "http://[::1]:80/", "http://a/%00%0a", "http://a_b/~c"}) {
        EXPECT_EQ(refusalOfUrl(url), std::nullopt) << url;
    }
}

struct Refused {
    std::string url;
    std::string reason;
};

TEST(HttpUrl, IsRefusedWithAReasonThatSaysWhy) {
    using std::string_literals::operator""s;
    const std::vector<Refused> rows = {
        {"", "the URL is empty"},
        {"http://a\n/", "the URL holds a control character at byte 8"},
        {"http://a/\x7f", "the URL holds a control character at byte 9"},
        {"http://a/\r\nCookie: b", "the URL holds a control character at byte 9"},
        {"http://a\0.example/"s, "the URL holds NUL at byte 8"},
        {"http://a/b c", "the URL holds a blank at byte 10"},
        {" http://a/", "the URL holds a blank at byte 0"},
        {"ftp://a/", "the scheme of the URL \"ftp://a/\" is neither http nor https: ftp"},
        {"file:///etc/passwd", "the scheme of the URL \"file:///etc/passwd\" is neither http nor https: file"},
        {"http:///a", "the URL \"http:///a\" has no host"},
        {"http:/a", "the URL \"http:/a\" has no host"},
        {"http://user:secret@a/", "the URL holds credentials"},
        {"https://user@a/", "the URL holds credentials"},
        {"http://@a/", "the URL holds credentials"},
        {"ftp://user:secret@a/", "the URL holds credentials"},
    };
    for (const auto& row : rows) EXPECT_EQ(refusalOfUrl(row.url), row.reason) << row.url;
}

TEST(HttpUrl, IsRefusedWhenItCannotBeParsed) {
    for (const char* url : {"a", "/a", "//a/", "a.example:80/", "http://", "http:a", "http://a:99999/", "http://a:b/",
                            "http://[::1/", "http://?a", "http://%00/"}) {
        const auto refusal = refusalOfUrl(url);
        ASSERT_TRUE(refusal) << url;
        EXPECT_EQ(refusal->find("the URL \"" + std::string(url) + "\" cannot be parsed: "), 0U) << *refusal;
    }
}

TEST(HttpUrl, NeverRepeatsAPasswordInItsReason) {
    for (const char* url : {"http://user:secret@a:99999/", "xyz:user:secret@a", "http://user:secret@/"}) {
        const auto refusal = refusalOfUrl(url);
        ASSERT_TRUE(refusal) << url;
        EXPECT_EQ(refusal->find("secret"), std::string::npos) << *refusal;
    }
}

TEST(HttpUrl, LeadsToThisDeviceByNameOrNumber) {
    for (const char* url : {"http://localhost/", "https://127.0.0.1:8080/a", "http://127.9.9.9/", "http://[::1]:1/",
                            "http://LocalHost/", "http://127.1/", "http://[0:0:0:0:0:0:0:1]/"}) {
        EXPECT_TRUE(leadsToThisDevice(url)) << url;
    }
    for (const char* url : {"http://localhost.example/", "http://10.0.0.1/", "http://[::2]/", "http://a/127.0.0.1",
                            "http://127.evil.example/", "http://127.0.0.1.example/", "http://128.0.0.1/"}) {
        EXPECT_FALSE(leadsToThisDevice(url)) << url;
    }
}

}  // namespace
}  // namespace harvelstone::platform
