#pragma once

#include <utility>

namespace harvelstone::platform {

/// Holds a process-wide object whose destructor never runs, so that a worker still busy while the host exits never
/// meets a dead one. Where the object can be made at compile time it is there before any initialiser of the host.
template <typename T>
class NeverDestroyed {
  public:
    template <typename... Arguments>
    constexpr explicit NeverDestroyed(Arguments&&... arguments) : object_(std::forward<Arguments>(arguments)...) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}

    T& operator*() { return object_; }
    T* operator->() { return &object_; }

  private:
    union {
        T object_;
    };
};

}  // namespace harvelstone::platform
