#pragma once

#include <string>
#include <string_view>

namespace harvelstone::tools {

/// A text file that takes whole lines. Each is one write to the system, so that the end of the process, however it
/// comes, loses none that was written. Any thread; a line is never torn by another.
class LineFile {
  public:
    enum class Mode { append, replace };

    LineFile(const std::string& path, Mode mode);
    ~LineFile();
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    /// False when the line could not be written whole.
    bool write(std::string_view line) const;

  private:
    int descriptor_;
};

}  // namespace harvelstone::tools
