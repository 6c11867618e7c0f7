#pragma once

#include <stdexcept>
#include <string>

namespace harvelstone::tools {

/// How a subcommand ended.
inline constexpr int exitDone = 0;
inline constexpr int exitFailed = 1;
inline constexpr int exitWrongUse = 2;

/// The command was called in a way that cannot work: ends it with `exitWrongUse`, the message on standard error.
class WrongUse final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace harvelstone::tools
