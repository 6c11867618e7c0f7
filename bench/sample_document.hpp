#pragma once

#include <cstddef>
#include <string>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::bench {

/// A record such as a page view: some fifteen members, about 400 bytes of JSON.
Dictionary sampleRecord(std::size_t number);

/// A document with a session section and that many page records.
Dictionary sampleDocument(std::size_t pages);

std::string sampleDocumentId(std::size_t number);

/// One whose JSON text is that many bytes long, or up to a record longer; at least 2,000.
Dictionary sampleDocumentOf(std::size_t bytes);

}  // namespace harvelstone::bench
