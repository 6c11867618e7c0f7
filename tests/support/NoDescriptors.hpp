#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace harvelstone::testing {

/// As long as it lives, this process can open neither file nor socket; what is open stays. No use under the address
/// sanitizer, whose companion for undefined behaviour needs descriptors of its own.
class NoDescriptors {
  public:
    NoDescriptors() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none{.rlim_cur = 0, .rlim_max = before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

}  // namespace harvelstone::testing
