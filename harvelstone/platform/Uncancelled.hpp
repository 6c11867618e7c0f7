#pragma once

#include <pthread.h>

namespace harvelstone::platform {

/// Puts the cancellation of the calling thread off for as long as the object lives: a host may cancel a thread of its
/// own, but not in the middle of an operation of ours, which would be left half-done.
class Uncancelled {
  public:
    Uncancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~Uncancelled() { pthread_setcancelstate(before_, nullptr); }
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;

  private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace harvelstone::platform
