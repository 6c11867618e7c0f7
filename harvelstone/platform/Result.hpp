#pragma once

#include <cassert>
#include <optional>
#include <system_error>
#include <utility>

namespace harvelstone::platform {

/// What a call to the machine gives: a value, or the error that kept it from one.
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : value_(std::move(value)) {}
    Result(std::error_code error) : error_(error) { assert(error); }

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    const std::error_code& error() const { return error_; }

    T& operator*() & { return *value_; }
    const T& operator*() const& { return *value_; }
    T&& operator*() && { return *std::move(value_); }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }

  private:
    std::optional<T> value_;
    std::error_code error_;
};

/// The outcome of a call to the machine that gives no value.
template <>
class [[nodiscard]] Result<void> {
  public:
    Result() = default;
    Result(std::error_code error) : error_(error) {}

    bool ok() const { return !error_; }
    explicit operator bool() const { return ok(); }
    const std::error_code& error() const { return error_; }

  private:
    std::error_code error_;
};

}  // namespace harvelstone::platform
