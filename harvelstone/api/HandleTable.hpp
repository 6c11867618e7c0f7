#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

/// What a host in another language holds by number until it gives it back, once. A number is never used again, not in a
/// child made by fork either, and the child has none of its parent's: so a number that is used twice, or in the wrong
/// process, names nothing. Any thread.
template <typename T>
class HandleTable {
  public:
    constexpr HandleTable() noexcept = default;

    std::uint64_t add(T object) {
        const auto number = ++lastNumber_;
        auto& held = *held_;
        const std::lock_guard lock(held.mutex);
        held.objects.emplace(number, std::move(object));
        return number;
    }

    /// Absent when the number names nothing.
    std::optional<T> take(std::uint64_t number) {
        auto& held = *held_;
        const std::lock_guard lock(held.mutex);
        auto found = held.objects.extract(number);
        if (found.empty()) return std::nullopt;
        return std::move(found.mapped());
    }

  private:
    struct Held {
        std::mutex mutex;
        std::map<std::uint64_t, T> objects;
    };

    std::atomic<std::uint64_t> lastNumber_ = 0;
    platform::PerProcess<Held> held_;
};

}  // namespace harvelstone
