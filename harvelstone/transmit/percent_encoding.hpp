#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace harvelstone {

/// The text with every byte that is no ASCII letter, digit, "-", ".", "_" or "~" written as "%" and two upper-case
/// hexadecimal digits.
std::string percentEncoded(std::string_view text);

/// The same piece by piece, for a text that is too long to be there twice. The text must outlive the object.
class PercentEncoder {
  public:
    explicit PercentEncoder(std::string_view text) : rest_(text) {}

    /// What comes next, empty at the end. It stands until the next call.
    std::string_view next();

  private:
    static constexpr std::size_t longestInput = 4096;
    static constexpr std::size_t longestCode = 3;

    std::string_view rest_;
    std::array<char, longestCode * longestInput> piece_{};
};

}  // namespace harvelstone
