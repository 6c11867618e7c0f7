#include "tests/support/RecordCountingFiles.hpp"

#include <optional>
#include <span>
#include <utility>

#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/queue_format.hpp"

namespace harvelstone::testing {

using platform::File;
using platform::Result;

namespace {

constexpr const char* question = "/is/anybody/there";

/// Whole frames of records, wherever they stand.
std::uint64_t recordsIn(std::string_view bytes) {
    std::uint64_t count = 0;
    for (auto at = bytes.find(queue_format::frameMarker); at != std::string_view::npos;
         at = bytes.find(queue_format::frameMarker, at + 1)) {
        const auto head = queue_format::readFrameHead(bytes.substr(at));
        if (!head || head->type != queue_format::FrameType::record) continue;
        if (at + queue_format::frameHeadSize + head->payloadSize <= bytes.size()) ++count;
    }
    return count;
}

std::string_view textOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

class RecordCountingFiles::CountedFile final : public File {
  public:
    CountedFile(std::unique_ptr<File> inner, RecordCountingFiles& files, RecordKind kind)
        : inner_(std::move(inner)), files_(files), kind_(kind) {}

    Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        return inner_->read(buffer, offset);
    }
    Result<void> append(std::span<const std::byte> bytes) override {
        auto done = inner_->append(bytes);
        const std::lock_guard lock(files_.mutex_);
        if (done) files_.written_[kind_] += recordsIn(textOf(bytes));
        return done;
    }
    std::size_t lastAppended() const override { return inner_->lastAppended(); }
    Result<void> sync() override { return inner_->sync(); }
    Result<void> truncate(std::uint64_t size) override {
        std::string tail;
        if (const auto end = inner_->size(); size > 0 && end && *end > size) tail.resize(*end - size);
        static_cast<void>(inner_->read(std::as_writable_bytes(std::span(tail)), size));
        auto done = inner_->truncate(size);
        const std::lock_guard lock(files_.mutex_);
        if (done) files_.written_[kind_] -= recordsIn(tail);  // to nothing is cut what was consumed
        return done;
    }
    Result<std::uint64_t> size() override { return inner_->size(); }
    Result<void> lock(std::chrono::milliseconds longestWait) override { return inner_->lock(longestWait); }
    Result<void> unlock() override { return inner_->unlock(); }

  private:
    const std::unique_ptr<File> inner_;
    RecordCountingFiles& files_;
    const RecordKind kind_;
};

std::uint64_t RecordCountingFiles::written(RecordKind kind) const {
    const std::lock_guard lock(mutex_);
    const auto found = written_.find(kind);
    return found == written_.end() ? 0 : found->second;
}

bool RecordCountingFiles::areBehind(platform::FileSystem& files) {
    wasAsked_ = false;
    static_cast<void>(files.exists(question));
    return wasAsked_;
}

Result<std::unique_ptr<File>> RecordCountingFiles::open(const std::string& path, platform::OpenMode mode) {
    auto file = inner_->open(path, mode);
    const auto owner = queueOwner(storedName(path.substr(path.rfind('/') + 1)));
    if (!file || !owner || mode == platform::OpenMode::Read) return file;
    return std::unique_ptr<File>(std::make_unique<CountedFile>(*std::move(file), *this, owner->kind));
}

bool RecordCountingFiles::exists(const std::string& path) {
    if (path != question) return inner_->exists(path);
    wasAsked_ = true;
    return false;
}

}  // namespace harvelstone::testing
