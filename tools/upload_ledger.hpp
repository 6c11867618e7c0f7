#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace harvelstone::tools {

enum class UploadSort { document, click, goal };

/// One attempt to upload, as the component announced it.
struct Upload {
    UploadSort sort = UploadSort::document;
    std::string documentId;  ///< for clicks and goals the document whose session section went along
    std::string json;
};

/// What the component has done, read off its debug log. Any thread.
class UploadLedger {
  public:
    void debugLine(std::string_view line);

    std::vector<Upload> uploads() const;
    std::vector<std::string> createdDocuments() const;  ///< ids, oldest first
    std::size_t removedDocuments() const;               ///< documents whose files were deleted
    std::size_t repeatsAskedFor() const;                ///< replies that asked for a repeat

  private:
    void addUpload(UploadSort sort, std::string_view json);

    mutable std::mutex mutex_;
    std::map<std::thread::id, std::string> currentIds_;  // the id that each thread's pass has announced
    std::vector<Upload> uploads_;
    std::vector<std::string> created_;
    std::size_t removed_ = 0;
    std::size_t repeats_ = 0;
};

}  // namespace harvelstone::tools
