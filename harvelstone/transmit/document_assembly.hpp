#pragma once

#include <memory>
#include <string>

#include "harvelstone/document/DocumentManager.hpp"

namespace harvelstone {

/// Fills the document's sections from its queues, for its first attempt, and counts that. Gives the document to use
/// from then on.
std::shared_ptr<NamedMap> assembled(DocumentManager& manager, std::shared_ptr<NamedMap> document,
                                    const std::string& documentId);

/// A new visit counts by itself; a continued one must have something to report.
bool hasConversionData(const NamedMap& document);

/// The text to upload. The host's push data is consumed by it, whatever becomes of the upload.
std::string payloadOf(DocumentManager& manager, std::shared_ptr<NamedMap> document);

}  // namespace harvelstone
