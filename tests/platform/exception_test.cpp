#include "harvelstone/platform/Exception.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <type_traits>
#include <utility>

namespace harvelstone::platform {
namespace {

static_assert(std::is_nothrow_copy_constructible_v<Exception>);
static_assert(std::is_nothrow_copy_assignable_v<Exception>);

TEST(Exception, TellsItsNameAndReason) {
    const Exception exception("the disk is gone");
    EXPECT_EQ(exception.name(), "Exception");
    EXPECT_EQ(exception.reason(), "the disk is gone");
    EXPECT_STREQ(exception.what(), "the disk is gone");
}

TEST(Exception, HasAKindForArgumentsAndOneForRanges) {
    EXPECT_EQ(InvalidArgumentException("a").name(), "InvalidArgumentException");
    EXPECT_EQ(RangeException("b").name(), "RangeException");
    EXPECT_EQ(RangeException("b").reason(), "b");
}

TEST(Exception, IsCaughtAsThePlatformsKind) {
    EXPECT_THROW(throw InvalidArgumentException("a"), Exception);
    EXPECT_THROW(throw RangeException("b"), std::exception);
}

[[gnu::noinline]] Exception madeDeeper(int levels) {
    if (levels == 0) return Exception("made");
    const auto exception = std::make_unique<Exception>(madeDeeper(levels - 1));
    return *exception;  // what is left to do here keeps the frame on the stack
}

TEST(Exception, KeepsTheCallStackOfWhereItWasMade) {
    const auto here = madeDeeper(0).callStackSymbols().size();
    const auto deeper = madeDeeper(5).callStackSymbols();
    EXPECT_EQ(deeper.size(), here + 5);
    for (const auto& line : deeper) EXPECT_NE(line.find("[0x"), std::string::npos) << line;
}

TEST(Exception, KeepsAtMostSixtyFourFrames) { EXPECT_EQ(madeDeeper(200).callStackSymbols().size(), 64U); }

TEST(Exception, CopiesShareTheirContent) {
    Exception copy("other");
    {
        const InvalidArgumentException original("the reason");
        copy = original;
    }
    EXPECT_EQ(copy.name(), "InvalidArgumentException");
    EXPECT_EQ(copy.reason(), "the reason");
}

TEST(Exception, CanStillBeAskedAfterItWasMovedFrom) {
    Exception original("the reason");
    const Exception moved = std::move(original);
    EXPECT_EQ(moved.reason(), "the reason");
    EXPECT_EQ(original.reason(), "the reason");  // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(original.callStackSymbols().empty());
}

}  // namespace
}  // namespace harvelstone::platform
