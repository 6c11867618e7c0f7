// Keeping the books of a played app by what its debug log tells.

#include "tools/upload_ledger.hpp"

#include <array>

namespace harvelstone::tools {

namespace {

// An upload's id and its JSON text stand in two lines, which the same thread writes one after the other.
constexpr std::array<std::string_view, 3> idTags{
    "DocumentManager.sendDocument(documentID) : ",
    "DEBUG_HARVELSTONE_CLICK_DATA sendClickDataImmediately(documentID) : ",
    "DEBUG_HARVELSTONE_CLICK_DATA sendGoalDataImmediately(documentID) : ",
};
constexpr std::string_view documentTag = "DEBUG_HARVELSTONE_JSON[SDK->SERVER] ";
constexpr std::string_view clickTag = "DEBUG_HARVELSTONE_JSON_CLICK_DATA[SDK->SERVER] ";
constexpr std::string_view goalTag = "DEBUG_HARVELSTONE_JSON_GOAL_DATA[SDK->SERVER] ";
constexpr std::string_view createdTag = "DEBUG_HARVELSTONE_CONFIG : documentID --> ";
constexpr std::string_view removedTag = "DEBUG_HARVELSTONE_REMOVE_FILE document id : ";
constexpr std::string_view repeatLine =
    "DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck == TRUE ) : an Exception occurred";

/// The line without its tag and the blank that some of them end with.
std::string_view content(std::string_view line, std::string_view tag) {
    line.remove_prefix(tag.size());
    if (line.ends_with(' ')) line.remove_suffix(1);
    return line;
}

}  // namespace

void UploadLedger::debugLine(std::string_view line) {
    const std::lock_guard lock(mutex_);
    for (const auto tag : idTags) {
        if (line.starts_with(tag)) currentIds_[std::this_thread::get_id()] = content(line, tag);
    }
    if (line.starts_with(documentTag)) addUpload(UploadSort::document, content(line, documentTag));
    if (line.starts_with(clickTag)) addUpload(UploadSort::click, content(line, clickTag));
    if (line.starts_with(goalTag)) addUpload(UploadSort::goal, content(line, goalTag));
    if (line.starts_with(createdTag)) created_.emplace_back(content(line, createdTag));
    if (line.starts_with(removedTag)) ++removed_;
    if (line == repeatLine) ++repeats_;
}

void UploadLedger::addUpload(UploadSort sort, std::string_view json) {
    uploads_.push_back({sort, currentIds_[std::this_thread::get_id()], std::string(json)});
}

std::vector<Upload> UploadLedger::uploads() const {
    const std::lock_guard lock(mutex_);
    return uploads_;
}

std::vector<std::string> UploadLedger::createdDocuments() const {
    const std::lock_guard lock(mutex_);
    return created_;
}

std::size_t UploadLedger::removedDocuments() const {
    const std::lock_guard lock(mutex_);
    return removed_;
}

std::size_t UploadLedger::repeatsAskedFor() const {
    const std::lock_guard lock(mutex_);
    return repeats_;
}

}  // namespace harvelstone::tools
