#pragma once

#include <string>

#include "harvelstone/services/constants_table.hpp"

namespace harvelstone {

/// The keys and names of the system, one accessor each. All texts are distinct.
class StaticValues {
  public:
#define HARVELSTONE_ACCESSOR(name, text) static const std::string& name();
    HARVELSTONE_STATIC_VALUES(HARVELSTONE_ACCESSOR)
#undef HARVELSTONE_ACCESSOR
};

}  // namespace harvelstone
