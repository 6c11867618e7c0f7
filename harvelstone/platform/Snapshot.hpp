#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace harvelstone::platform {

/// A variable that several threads read and replace without keeping each other out: each reader holds one immutable
/// state, each writer swaps in a whole new one. The mutex is held for the copying of a pointer alone; it is the
/// variable's own, because those behind the standard library's atomic pointers may stay locked in a child made by fork.
template <typename T>
class Snapshot {
  public:
    constexpr Snapshot() noexcept = default;
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    /// The state now; a null pointer until the first store.
    std::shared_ptr<const T> load() const {
        const std::lock_guard lock(mutex_);
        return state_;
    }

    void store(T state) {
        std::shared_ptr<const T> next = std::make_shared<T>(std::move(state));
        const std::lock_guard lock(mutex_);
        state_.swap(next);  // what was there goes after the lock was given back
    }

    /// Replaces the state by `change(state)`, called again when another thread was faster; gives the state put in
    /// place. Before the first store, `change` sees a default-made state.
    template <typename Change>
    std::shared_ptr<const T> update(Change change) {
        auto before = load();
        for (;;) {
            std::shared_ptr<const T> after = std::make_shared<T>(change(before ? *before : T()));
            if (replace(before, after)) return after;
        }
    }

  private:
    /// False when the state is another than `before`, which then becomes that one.
    bool replace(std::shared_ptr<const T>& before, const std::shared_ptr<const T>& after) {
        std::shared_ptr<const T> found;
        const std::lock_guard lock(mutex_);
        found = state_;
        if (found == before) state_ = after;
        found.swap(before);
        return found == before;
    }

    mutable std::mutex mutex_;
    std::shared_ptr<const T> state_;
};

}  // namespace harvelstone::platform
