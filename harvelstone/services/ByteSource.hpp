#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "harvelstone/platform/FileSystem.hpp"
#include "harvelstone/platform/Result.hpp"

namespace harvelstone {

/// Bytes to read from any place, a piece at a time.
class ByteSource {
  public:
    virtual ~ByteSource() = default;

    /// The bytes from the offset on: at least as many as wanted, fewer only where the bytes end, perhaps more. Valid
    /// until the next call.
    virtual platform::Result<std::string_view> at(std::uint64_t offset, std::size_t wanted) = 0;
};

/// Bytes in memory, which the caller keeps.
class MemorySource final : public ByteSource {
  public:
    explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}
    platform::Result<std::string_view> at(std::uint64_t offset, std::size_t wanted) override;

  private:
    std::string_view bytes_;
};

/// An open file, which the caller keeps, read in chunks: memory holds one chunk or one frame, whichever is larger.
class FileSource final : public ByteSource {
  public:
    explicit FileSource(platform::File& file) : file_(file) {}
    platform::Result<std::string_view> at(std::uint64_t offset, std::size_t wanted) override;

    /// Forgets what was read, after bytes of the file were changed.
    void forget() { buffer_.clear(); }

  private:
    platform::Result<void> readOn(std::size_t target);

    platform::File& file_;
    std::string buffer_;  // the file's bytes from base_ on
    std::uint64_t base_ = 0;
    std::size_t chunk_ = 16U << 10U;  // doubled up to a limit while there is more to read
};

}  // namespace harvelstone
