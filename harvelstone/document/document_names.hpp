#pragma once

namespace harvelstone {

/// Stores the pending list in the document DB map under DOCUMENT_TARGET_NAME. When another thread changes the list
/// meanwhile, the later state is stored last, so that list and store agree once both have returned.
void storeDocumentNames();

}  // namespace harvelstone
