#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "harvelstone/document/RecordKind.hpp"

#include "bench/App.hpp"

namespace harvelstone::bench {

/// An app that is past its start-up hold. What it prepares is not synced.
class SendingApp {
  public:
    explicit SendingApp(const std::string& documentsFolder, platform::Platform platform = {});

    DocumentManager& manager() { return manager_; }

    /// A new visit's document joins the list. Gives its id.
    std::string newVisit();
    /// The list forgets what waits, and the newest document loses its file: every visit can find the same.
    void forgetDocuments();
    /// Into the newest document's queue.
    void addRecords(RecordKind kind, std::size_t count);
    /// One pending document, with 100 records in four queues. Gives its id.
    std::string prepareFilledVisit();

    /// A pass under that policy.
    void pass(platform::SyncPolicy policy);

  private:
    DocumentManager& manager_;
};

}  // namespace harvelstone::bench
