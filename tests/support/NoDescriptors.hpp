#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace harvelstone::testing {

/// As long as it lives, this process can open neither file nor socket; what is open stays. No use under the address
/// sanitizer, whose companion for undefined behaviour needs descriptors of its own.
class NoDescriptors {
  public:
    NoDescriptors() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        // Not less than are open: the system would let no one wait for them.
        const int lowestFree = open("/dev/null", O_RDONLY | O_CLOEXEC);
        EXPECT_GE(lowestFree, 0);
        close(lowestFree);
        const rlimit none{.rlim_cur = static_cast<rlim_t>(lowestFree), .rlim_max = before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

}  // namespace harvelstone::testing
