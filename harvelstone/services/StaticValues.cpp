// The accessors of the keys and names, made from constants_table.hpp. Stores nothing. Any thread, and to the very end
// of the process.

#include "harvelstone/services/StaticValues.hpp"

#include "harvelstone/platform/NeverDestroyed.hpp"

namespace harvelstone {

#define HARVELSTONE_ACCESSOR(name, text)                                   \
    const std::string& StaticValues::name() {                              \
        static platform::NeverDestroyed<const std::string> constant(text); \
        return *constant;                                                  \
    }
HARVELSTONE_STATIC_VALUES(HARVELSTONE_ACCESSOR)
#undef HARVELSTONE_ACCESSOR

}  // namespace harvelstone
