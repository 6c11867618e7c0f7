// Lines on their way to a file, unbuffered.

#include "tools/line_file.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace harvelstone::tools {

namespace {

int openFile(const std::string& path, LineFile::Mode mode) {
    const int start = mode == LineFile::Mode::append ? O_APPEND : O_APPEND | O_TRUNC;
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | start, 0666);
}

}  // namespace

LineFile::LineFile(const std::string& path, Mode mode) : descriptor_(openFile(path, mode)) {}

LineFile::~LineFile() {
    if (isOpen()) ::close(descriptor_);
}

bool LineFile::write(std::string_view line) const {
    std::string whole(line);
    whole.push_back('\n');
    return ::write(descriptor_, whole.data(), whole.size()) == static_cast<ssize_t>(whole.size());
}

}  // namespace harvelstone::tools
