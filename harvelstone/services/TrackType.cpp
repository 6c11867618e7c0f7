// The section types of a document, made from constants_table.hpp. Stores nothing. Any thread, and to the very end of
// the process.

#include "harvelstone/services/TrackType.hpp"

#include "harvelstone/platform/NeverDestroyed.hpp"

namespace harvelstone {

#define HARVELSTONE_ACCESSOR(name, text)                                    \
    const TypeConstant& TrackType::name() {                                 \
        static platform::NeverDestroyed<const TypeConstant> constant(text); \
        return *constant;                                                   \
    }
HARVELSTONE_TRACK_TYPES(HARVELSTONE_ACCESSOR)
#undef HARVELSTONE_ACCESSOR

}  // namespace harvelstone
