#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/SimulatedDisk.hpp"

namespace harvelstone::testing {

/// Something that happened in a simulated life, as it is seen from outside.
struct Fact {
    enum class What {
        began,        ///< a life; `text` says which
        recording,    ///< the host begins to record `number`; `text` is the prefix of its queue
        written,      ///< a frame with `number` was appended to the file `text`
        recorded,     ///< recording `number` has returned
        progressing,  ///< the same two for a page's progress, which no document shows by itself
        progressed,
        takenBack,  ///< a frame with `number` was cut off the file `text`
        emptied,    ///< the queue's file `text` was cut to nothing
        headed,     ///< the queue's file `text` got a header that tells of `number` records
        created,    ///< the pending list got `id` at its end
        left,       ///< the pending list lost `id`, its head
        settled,    ///< the operation that created (`number` 1) or retired (0) `id` has returned
        retired,    ///< the component says that `id` has met the fate `text`
        visited,    ///< a pass looks at `id`
        uploaded,   ///< a request with the document `id` was started; `text` is its JSON, `number` its attempts
        answered,   ///< the answer to an upload of `id` reached the component; `text` is its body, `number` 1 if it has
                    ///< one
        removed,    ///< the file `text`
        faulted,    ///< a call on the disk failed
        ended       ///< the life; `text` says how
    };

    What what = What::began;
    std::size_t life = 0;
    std::size_t task = 0;
    double time = 0;
    std::int64_t number = 0;
    std::string id = {};
    std::string text = {};
};

using Facts = std::vector<Fact>;

/// What a life leaves to those that follow.
struct Legacy {
    DiskImage disk = {};
    double time = 0;  ///< of the wall clock
    std::int64_t nextNumber = 0;
    Facts facts = {};
    std::vector<std::string> violations = {};
    std::uint64_t switches = 0;
    std::uint64_t fingerprint = 0;  ///< of all that was done and in which order
};

/// To and from bytes, for the way from one process to another. Bytes that end early raise std::runtime_error.
std::string packed(const Legacy& legacy);
Legacy unpackedLegacy(std::string_view bytes);

}  // namespace harvelstone::testing
