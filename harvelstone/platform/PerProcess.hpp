#pragma once

#include <atomic>
#include <memory>
#include <type_traits>

#include "harvelstone/platform/Fork.hpp"

namespace harvelstone::platform {

/// What the constructor of a PerProcess object takes that wants something of its parent's. The parent's object may have
/// been in the middle of a change: only what never changes, or is atomic, can be read.
template <typename T>
struct OfParent {
    const T& object;
};

/// An object of which each process has its own: a child made by fork gets a new one at its first use and never touches
/// its parent's, whose locks may be locked for ever. Any thread may use it; two that are first at once may both make
/// one, and one of them is dropped. Made at compile time, and never destroyed: a worker still busy while the host exits
/// never meets a dead one.
template <typename T>
class PerProcess {
  public:
    constexpr PerProcess() noexcept = default;
    PerProcess(const PerProcess&) = delete;
    PerProcess& operator=(const PerProcess&) = delete;

    T& operator*() const {
        auto* copy = copy_.load(std::memory_order_acquire);
        return (isOurs(copy) ? copy : makeOurs(copy))->object;
    }
    T* operator->() const { return &**this; }

  protected:
    struct Copy {
        explicit Copy(Copy* before) : parents(before), object(newObject(before)) {}

        const unsigned generation = processGeneration();
        Copy* const parents;  // keeps it within reach of whoever looks for leaks
        T object;
    };

    static bool isOurs(const Copy* copy) { return copy != nullptr && copy->generation == processGeneration(); }

    Copy* copy() const { return copy_.load(std::memory_order_acquire); }

  private:
    static T newObject(const Copy* parents) {
        if constexpr (std::is_constructible_v<T, OfParent<T>>) {
            if (parents != nullptr) return T(OfParent<T>{parents->object});
        }
        return T();
    }

    Copy* makeOurs(Copy* before) const {
        auto fresh = std::make_unique<Copy>(before);
        if (copy_.compare_exchange_strong(before, fresh.get(), std::memory_order_acq_rel)) return fresh.release();
        return before;
    }

    mutable std::atomic<Copy*> copy_ = nullptr;
};

/// The same as a member of an object that is destroyed in the ordinary way.
template <typename T>
class OwnedPerProcess : public PerProcess<T> {
  public:
    constexpr OwnedPerProcess() noexcept = default;
    ~OwnedPerProcess() {
        if (this->isOurs(this->copy())) delete this->copy();
    }
};

}  // namespace harvelstone::platform
