#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace harvelstone::platform {

/// A variable that several threads read and replace without keeping each other out: each reader holds one immutable
/// state, each writer swaps in a whole new one.
template <typename T>
class Snapshot {
  public:
    constexpr Snapshot() noexcept = default;
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    /// The state now; a null pointer until the first store.
    std::shared_ptr<const T> load() const { return std::atomic_load(&state_); }

    void store(T state) { std::atomic_store(&state_, std::shared_ptr<const T>(std::make_shared<T>(std::move(state)))); }

    /// Replaces the state by `change(state)`, called again when another thread was faster; gives the state put in
    /// place. Before the first store, `change` sees a default-made state.
    template <typename Change>
    std::shared_ptr<const T> update(Change change) {
        auto before = load();
        for (;;) {
            auto after = std::shared_ptr<const T>(std::make_shared<T>(change(before ? *before : T())));
            if (std::atomic_compare_exchange_strong(&state_, &before, after)) return after;
        }
    }

  private:
    std::shared_ptr<const T> state_;
};

}  // namespace harvelstone::platform
