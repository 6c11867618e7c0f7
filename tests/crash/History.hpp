#pragma once

#include <span>
#include <string>
#include <vector>

#include "harvelstone/platform/Value.hpp"

#include "tests/support/SimulatedDisk.hpp"

namespace harvelstone::testing {

/// Something that happened in the lives of an app, as seen from outside.
struct Happening {
    enum class What {
        call,       ///< a call on the file system begins: `text` says which
        step,       ///< the disk has changed: `step`
        recording,  ///< the app records: `number`, `queue` (the prefix of its kind)
        recorded,   ///< ... and the operation has returned; `document` is the newest then
        created,    ///< an operation has returned with a new pending document: `document`
        uploaded,   ///< a document was handed to the network: `content`
        retired,    ///< a document has left the pending list: `document`, `text` is its fate
    };
    What what = What::call;
    std::string text = {};
    DiskStep step = {};
    int number = 0;
    std::string queue = {};
    std::string document = {};
    Dictionary content = {};
    double time = 0;  ///< not of steps, which have their own
};
using History = std::vector<Happening>;
using HistoryView = std::span<const Happening>;

/// How many calls the file system got, and what one of them was, the first being 1.
std::size_t callsIn(HistoryView history);
std::string callText(HistoryView history, std::size_t number);

/// To and from bytes, for the way from one process to another.
std::string packed(const History& history);
History unpacked(const std::string& bytes);

}  // namespace harvelstone::testing
