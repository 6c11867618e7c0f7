#pragma once

#include <string>
#include <string_view>

#include "tools/line_file.hpp"

namespace harvelstone::tools {

/// A document's JSON text in one line.
std::string oneLine(std::string_view json);

/// The file of received documents, one JSON text a line: "DIR/documents.jsonl".
class DocumentStore {
  public:
    /// Makes the folder if it is missing and opens the file to append. `isOpen` says whether that worked.
    explicit DocumentStore(const std::string& folder);

    bool isOpen() const { return file_.isOpen(); }
    const std::string& path() const { return path_; }

    /// Appends the text as one line; false when the disk refuses it.
    bool append(std::string_view json);

  private:
    std::string path_;
    LineFile file_;
};

}  // namespace harvelstone::tools
