#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/Fate.hpp"

#include "tools/body_decoding.hpp"
#include "tools/upload_ledger.hpp"

namespace harvelstone::tools {

/// What a run of the demo left behind, on both sides of the wire.
struct DemoRecord {
    std::vector<std::string> created;   ///< document ids, oldest first; those that an earlier run left as well
    std::vector<std::string> pending;   ///< those that still wait
    std::vector<Upload> uploads;        ///< as the app announced them
    std::map<std::string, Fate> fates;  ///< of the documents that left the list
    std::vector<DecodedBody> received;  ///< as the collector decoded them
    std::vector<std::string> refused;   ///< why it refused others
};

/// What is wrong, one line each; empty when every upload arrived once, equal as a value to what was sent, and every
/// document was sent, still waits or was dropped by a rule.
std::vector<std::string> arrivalFaults(const DemoRecord& record);

/// A table of the documents and of the immediate uploads.
std::string arrivalTable(const DemoRecord& record);

}  // namespace harvelstone::tools
