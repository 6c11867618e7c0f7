#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "harvelstone/platform/FileSystem.hpp"

namespace harvelstone::testing {

/// Passes every call on to the POSIX file system, writes down what was called, and fails the calls that the test
/// names. The calls of an open file count like the others; `exists`, `isDeletable` and closing cannot fail and do not
/// count.
class FaultyFileSystem : public platform::FileSystem {
  public:
    enum class Duration { once, lasting };

    /// The call of that number, the next one being 1, fails; with `lasting` all calls after it fail, too.
    void failCall(std::size_t number, std::errc error, Duration duration = Duration::once) {
        const std::lock_guard lock(mutex_);
        calls_.clear();
        fault_ = {number, error, duration, {}};
    }
    /// Every call of that name ("append", "rename", ...) fails from now on.
    void failEvery(std::string call, std::errc error) {
        const std::lock_guard lock(mutex_);
        calls_.clear();
        fault_ = {1, error, Duration::lasting, std::move(call)};
    }
    /// The next call of that name fails, and every call after it.
    void failFromTheNext(std::string call, std::errc error) {
        const std::lock_guard lock(mutex_);
        calls_.clear();
        fault_ = {1, error, Duration::lasting, std::move(call)};
        fault_->spreads = true;
    }
    void heal() {
        const std::lock_guard lock(mutex_);
        fault_.reset();
    }
    /// An append that fails writes this many of its bytes nevertheless.
    void writeBeforeFailing(std::size_t bytes) { bytesBeforeFailing_ = bytes; }

    /// Called before each call, with its number.
    std::function<void(std::size_t)> beforeCall;

    /// "append NAME", "rename FROM TO", ... since the last `clear` or the last fault; without the folder.
    std::vector<std::string> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    std::size_t count(const std::string& call) const {
        const std::lock_guard lock(mutex_);
        std::size_t number = 0;
        for (const auto& line : calls_)
            if (nameOf(line) == call) ++number;
        return number;
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        calls_.clear();
    }
    /// Whether a call has met the fault.
    bool hasFailed() const {
        const std::lock_guard lock(mutex_);
        return fault_ && fault_->wasMet;
    }

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override;
    platform::Result<void> rename(const std::string& from, const std::string& to) override {
        if (auto error = refuse("rename", baseName(from) + " " + baseName(to))) return *error;
        return real_.rename(from, to);
    }
    platform::Result<void> remove(const std::string& path) override {
        if (auto error = refuse("remove", baseName(path))) return *error;
        return real_.remove(path);
    }
    platform::Result<std::vector<std::string>> list(const std::string& folder) override {
        if (auto error = refuse("list", "")) return *error;
        return real_.list(folder);
    }
    platform::Result<platform::FileAttributes> attributes(const std::string& path) override {
        if (auto error = refuse("attributes", baseName(path))) return *error;
        return real_.attributes(path);
    }
    bool exists(const std::string& path) override { return real_.exists(path); }
    bool isDeletable(const std::string& path) override { return real_.isDeletable(path); }
    platform::Result<void> makeFolder(const std::string& path) override {
        if (auto error = refuse("makeFolder", "")) return *error;
        return real_.makeFolder(path);
    }
    platform::Result<void> syncFolder(const std::string& path) override {
        if (auto error = refuse("syncFolder", "")) return *error;
        return real_.syncFolder(path);
    }

  private:
    class FaultyFile;

    struct Fault {
        std::size_t number = 1;
        std::errc error = std::errc::io_error;
        Duration duration = Duration::once;
        std::string call;      // only calls of this name; "" for all
        bool spreads = false;  // once met, to calls of any name
        bool wasMet = false;
    };

    static std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }
    static std::string nameOf(const std::string& line) { return line.substr(0, line.find(' ')); }

    /// Writes the call down; the error that it shall fail with, if it shall.
    std::optional<std::error_code> refuse(const std::string& call, const std::string& what) {
        std::size_t number = 0;
        std::optional<std::error_code> error;
        {
            const std::lock_guard lock(mutex_);
            calls_.push_back(what.empty() ? call : call + " " + what);
            number = calls_.size();
            const bool isMet =
                fault_ && (fault_->call.empty() || fault_->call == call) &&
                (number == fault_->number || (number > fault_->number && fault_->duration == Duration::lasting));
            if (isMet) {
                fault_->wasMet = true;
                if (fault_->spreads) fault_->call.clear();
                error = std::make_error_code(fault_->error);
            }
        }
        if (beforeCall) beforeCall(number);
        return error;
    }

    platform::PosixFileSystem real_;
    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::optional<Fault> fault_;
    std::size_t bytesBeforeFailing_ = 0;
};

class FaultyFileSystem::FaultyFile final : public platform::File {
  public:
    FaultyFile(FaultyFileSystem& system, std::unique_ptr<platform::File> real, std::string name)
        : system_(system), real_(std::move(real)), name_(std::move(name)) {}

    platform::Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        if (auto error = system_.refuse("read", name_)) return *error;
        return real_->read(buffer, offset);
    }
    platform::Result<void> append(std::span<const std::byte> bytes) override {
        if (auto error = system_.refuse("append", name_)) {
            static_cast<void>(real_->append(bytes.first(std::min(bytes.size(), system_.bytesBeforeFailing_))));
            return *error;
        }
        return real_->append(bytes);
    }
    std::size_t lastAppended() const override { return real_->lastAppended(); }
    platform::Result<void> sync() override {
        if (auto error = system_.refuse("sync", name_)) return *error;
        return real_->sync();
    }
    platform::Result<void> truncate(std::uint64_t size) override {
        if (auto error = system_.refuse("truncate", name_)) return *error;
        return real_->truncate(size);
    }
    platform::Result<std::uint64_t> size() override {
        if (auto error = system_.refuse("size", name_)) return *error;
        return real_->size();
    }
    platform::Result<void> lock(std::chrono::milliseconds longestWait) override {
        if (auto error = system_.refuse("lock", name_)) return *error;
        return real_->lock(longestWait);
    }
    platform::Result<void> unlock() override {
        if (auto error = system_.refuse("unlock", name_)) return *error;
        return real_->unlock();
    }

  private:
    FaultyFileSystem& system_;
    std::unique_ptr<platform::File> real_;
    std::string name_;
};

inline platform::Result<std::unique_ptr<platform::File>> FaultyFileSystem::open(const std::string& path,
                                                                                platform::OpenMode mode) {
    if (auto error = refuse("open", baseName(path))) return *error;
    auto file = real_.open(path, mode);
    if (!file) return file.error();
    return std::unique_ptr<platform::File>(std::make_unique<FaultyFile>(*this, std::move(*file), baseName(path)));
}

}  // namespace harvelstone::testing
