#pragma once

#include <string>
#include <sys/types.h>

namespace harvelstone::testing {

/// Another process that has a file locked, from when it is made until it lets go.
class LockHolder {
  public:
    explicit LockHolder(const std::string& path);
    ~LockHolder();
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    /// Ends the process and waits for its end. Asked for twice, it does nothing.
    void letGo();

  private:
    pid_t child_ = -1;
};

}  // namespace harvelstone::testing
