#pragma once

#include <string>

#include "harvelstone/services/constants_table.hpp"

namespace harvelstone {

/// A kind of section in a document.
class TypeConstant {
  public:
    explicit TypeConstant(std::string key) : key_(std::move(key)) {}

    /// The section's key; both answer the same text.
    const std::string& toString() const { return key_; }
    const std::string& typeValue() const { return key_; }

  private:
    std::string key_;
};

class TrackType {
  public:
#define HARVELSTONE_ACCESSOR(name, text) static const TypeConstant& name();
    HARVELSTONE_TRACK_TYPES(HARVELSTONE_ACCESSOR)
#undef HARVELSTONE_ACCESSOR
};

}  // namespace harvelstone
