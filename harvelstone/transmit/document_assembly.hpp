#pragma once

#include <memory>
#include <string>

#include "harvelstone/document/DocumentManager.hpp"

namespace harvelstone {

/// The turn of one thread to fill a document for the first time. Of two passes that meet the same fresh document, the
/// second would move a part of the records, or none, and put that in place of what the first has moved.
class AssemblyTurn {
  public:
    /// Takes the turn unless another thread has it; never waits.
    explicit AssemblyTurn(std::string documentId);
    ~AssemblyTurn();
    AssemblyTurn(const AssemblyTurn&) = delete;
    AssemblyTurn& operator=(const AssemblyTurn&) = delete;

    bool isMine() const { return isMine_; }

  private:
    const std::string documentId_;
    bool isMine_ = false;
};

/// Fills the document's sections from its queues, for its first attempt, and counts that. Gives the document to use
/// from then on.
std::shared_ptr<NamedMap> assembled(DocumentManager& manager, std::shared_ptr<NamedMap> document,
                                    const std::string& documentId);

/// A new visit counts by itself; a continued one must have something to report.
bool hasConversionData(const NamedMap& document);

/// The text to upload. The host's push data is consumed by it, whatever becomes of the upload.
std::string payloadOf(DocumentManager& manager, std::shared_ptr<NamedMap> document);

}  // namespace harvelstone
