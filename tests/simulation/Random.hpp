#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace harvelstone::testing {

/// A stream of choices that a seed fixes, the same on every machine.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    /// A stream of its own for a part of the seed's work, so that one part does not shift the choices of another.
    Random(std::uint64_t seed, std::uint64_t part) : state_(seed * 0x9E3779B97F4A7C15U + part) { next(); }

    std::uint64_t next() {
        std::uint64_t mixed = (state_ += 0x9E3779B97F4A7C15U);
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    /// One of 0, 1, ... limit - 1.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
    std::size_t between(std::size_t least, std::size_t most) { return least + below(most - least + 1); }
    bool chance(double probability) { return unit() < probability; }
    /// From 0 to 1, without 1.
    double unit() { return static_cast<double>(next() >> 11U) * 0x1.0p-53; }
    /// At least 1; on the average about `mean`.
    std::uint64_t distance(double mean) { return 1 + static_cast<std::uint64_t>(-std::log(1 - unit()) * mean); }
    template <typename T>
    const T& pick(const std::vector<T>& choices) {
        return choices[below(choices.size())];
    }

  private:
    std::uint64_t state_;
};

}  // namespace harvelstone::testing
