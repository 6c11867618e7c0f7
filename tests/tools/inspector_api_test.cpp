#include "tools/inspector_api.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/inspector_page.hpp"

namespace harvelstone::tools {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(InspectorApi, OnlyAddressesAndOwnNamesAreOwnHosts) {
    struct Case {
        const char* header;
        const char* ownName;
        bool isOwn;
    };
    const Case cases[] = {
        {"127.0.0.1:8080", "127.0.0.1", true},
        {"192.168.1.4", "0.0.0.0", true},
        {"[::1]:8080", "::1", true},
        {"[fe80::1]", "::", true},
        {"localhost:1", "127.0.0.1", true},
        {"LocalHost", "127.0.0.1", true},
        {"devbox:8080", "devbox", true},
        {"DevBox", "devbox", true},
        {"devbox:8080", "127.0.0.1", false},
        {"evil.example", "devbox", false},
        {"127.0.0.1.evil.example", "::1", false},
        {"localhost.evil.example", "localhost", false},
        {"", "::1", false},
        {"[evil]", "::1", false},
        {"[::1", "::1", false},
        {"1.2.3", "127.0.0.1", false},
    };
    for (const auto& [header, ownName, isOwn] : cases) {
        SCOPED_TRACE(std::string(header) + " at " + ownName);
        EXPECT_EQ(isOwnHost(header, ownName), isOwn);
    }
}

TEST(InspectorApi, RefusesAnotherOriginsPage) {
    EXPECT_FALSE(refusalOf({"PUT", "/", "localhost:1", "http://localhost:1", ""}, "127.0.0.1"));
    EXPECT_FALSE(refusalOf({"PUT", "/", "localhost:1", "", ""}, "127.0.0.1"));
    for (const auto* origin : {"null", "http://localhost:2", "https://localhost:1", "http://evil.example"}) {
        const auto refusal = refusalOf({"PUT", "/", "localhost:1", origin, ""}, "127.0.0.1");
        ASSERT_TRUE(refusal) << origin;
        EXPECT_EQ(refusal->status, 403);
    }
}

TEST(InspectorPage, HoldsItsDataAsTextThatEndsNoElement) {
    const auto page = inspectorPageWith(R"({"text":"</script><script>alert(1)</script><!--"})");
    EXPECT_THAT(
        page, HasSubstr(R"(id="data">{"text":"\u003c/script>\u003cscript>alert(1)\u003c/script>\u003c!--"}</script>)"));
    EXPECT_THAT(page, Not(HasSubstr("alert(1)</script>")));
}

TEST(InspectorPage, BringsItsPolicyAlong) {
    EXPECT_THAT(std::string(inspectorPagePolicy()), HasSubstr("default-src 'none'; script-src 'sha256-"));
    EXPECT_THAT(std::string(inspectorPagePolicy()), Not(HasSubstr("unsafe")));
    EXPECT_THAT(inspectorPageWith("{}"), HasSubstr(std::string(inspectorPagePolicy())));
}

}  // namespace

}  // namespace harvelstone::tools
