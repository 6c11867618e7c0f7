// Where the collector keeps what it received.

#include "tools/document_store.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace harvelstone::tools {

namespace {

std::string pathInMadeFolder(const std::string& folder) {
    std::error_code ignored;  // a folder that cannot be made shows when the file is opened
    std::filesystem::create_directories(folder, ignored);
    return (std::filesystem::path(folder) / "documents.jsonl").string();
}

}  // namespace

DocumentStore::DocumentStore(const std::string& folder)
    : path_(pathInMadeFolder(folder)), file_(path_, LineFile::Mode::append) {}

std::string oneLine(std::string_view json) {
    std::string line(json);
    // A JSON text may be laid out over several lines, but inside its strings line ends are always escaped.
    const auto isLineEnd = [](char character) { return character == '\n' || character == '\r'; };
    std::replace_if(line.begin(), line.end(), isLineEnd, ' ');
    return line;
}

bool DocumentStore::append(std::string_view json) { return file_.write(oneLine(json)); }

}  // namespace harvelstone::tools
