#pragma once

#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace harvelstone::platform {

/// The platform's exception kind, the only one that the component catches. It keeps the call stack of the place where
/// it was made.
class Exception : public std::exception {
  public:
    explicit Exception(std::string reason) : Exception("Exception", std::move(reason)) {}
    Exception(const Exception&) noexcept = default;  // and no move, which would leave an exception without content
    Exception& operator=(const Exception&) noexcept = default;

    /// The kind in one word, for example "InvalidArgumentException".
    const std::string& name() const noexcept { return content_->name; }
    const std::string& reason() const noexcept { return content_->reason; }
    const char* what() const noexcept override { return content_->reason.c_str(); }

    /// One line a frame, innermost first.
    std::vector<std::string> callStackSymbols() const;

  protected:
    Exception(std::string name, std::string reason);

  private:
    struct Content {
        std::string name;
        std::string reason;
        std::vector<void*> frames;
    };
    std::shared_ptr<const Content> content_;  // shared, so that copying an exception cannot throw
};

/// An argument that the operation refuses, for instance an absent value put into a record.
class InvalidArgumentException final : public Exception {
  public:
    explicit InvalidArgumentException(std::string reason) : Exception("InvalidArgumentException", std::move(reason)) {}
};

/// An index outside a list.
class RangeException final : public Exception {
  public:
    explicit RangeException(std::string reason) : Exception("RangeException", std::move(reason)) {}
};

}  // namespace harvelstone::platform
