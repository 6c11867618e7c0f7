#include "harvelstone/platform/Exception.hpp"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <execinfo.h>
#include <utility>

namespace harvelstone::platform {
namespace {

constexpr std::size_t mostFrames = 64;

std::vector<void*> callStack() {
    std::array<void*, mostFrames> frames{};
    const auto count = backtrace(frames.data(), static_cast<int>(frames.size()));
    return std::vector<void*>(frames.begin(), frames.begin() + count);
}

struct Free {
    void operator()(char** symbols) const { std::free(static_cast<void*>(symbols)); }
};

}  // namespace

Exception::Exception(std::string name, std::string reason)
    : content_(std::make_shared<const Content>(Content{std::move(name), std::move(reason), callStack()})) {}

std::vector<std::string> Exception::callStackSymbols() const {
    const auto& frames = content_->frames;
    const std::unique_ptr<char*, Free> symbols(backtrace_symbols(frames.data(), static_cast<int>(frames.size())));
    if (!symbols) return {};
    return std::vector<std::string>(symbols.get(), symbols.get() + frames.size());
}

}  // namespace harvelstone::platform
