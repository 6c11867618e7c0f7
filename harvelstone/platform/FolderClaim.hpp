#pragma once

#include <optional>
#include <string>
#include <utility>

namespace harvelstone::platform {

/// Tells other processes that a folder is in use, for as long as the object lives and its process does: a claim ends
/// with its process, however that ends, and is not its children's.
class FolderClaim {
  public:
    /// Absent when someone else has claimed the folder, or when it cannot be opened.
    static std::optional<FolderClaim> of(const std::string& folder);

    FolderClaim(FolderClaim&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FolderClaim& operator=(FolderClaim&&) = delete;
    FolderClaim(const FolderClaim&) = delete;
    FolderClaim& operator=(const FolderClaim&) = delete;
    ~FolderClaim();

  private:
    explicit FolderClaim(int descriptor) : descriptor_(descriptor) {}
    int descriptor_;
};

}  // namespace harvelstone::platform
