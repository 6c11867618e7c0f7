// A disk in memory, what of it is durable, and what a loss of power may leave.

#include "tests/support/SimulatedDisk.hpp"

#include <algorithm>

namespace harvelstone::testing {

namespace {

/// One of 0, 1, ... most.
std::size_t upTo(std::size_t most, std::mt19937_64& random) { return static_cast<std::size_t>(random() % (most + 1)); }

void change(std::string& content, const DiskStep& step) {
    if (step.kind == DiskStep::Kind::append)
        content += step.bytes;
    else
        content.resize(static_cast<std::size_t>(step.size), '\0');
}

using Steps = std::vector<DiskStep>;

/// The content after some of the steps, the last one perhaps in part.
std::string tornContent(std::string content, const Steps& steps, std::mt19937_64& random) {
    const auto whole = upTo(steps.size(), random);
    for (std::size_t i = 0; i < whole; ++i) change(content, steps[i]);
    if (whole < steps.size() && steps[whole].kind == DiskStep::Kind::append) {
        const auto& bytes = steps[whole].bytes;
        content += bytes.substr(0, upTo(bytes.size(), random));
    }
    return content;
}

/// How many of the first bytes are as they were when the file was synced.
std::size_t untouchedPart(std::size_t durableSize, const Steps& steps) {
    auto part = durableSize;
    for (const auto& step : steps)
        if (step.kind == DiskStep::Kind::truncate) part = std::min(part, static_cast<std::size_t>(step.size));
    return part;
}

std::string zeroedContent(const std::string& durable, const Steps& steps, std::mt19937_64& random) {
    auto content = tornContent(durable, steps, random);
    const auto kept = std::min(content.size(), untouchedPart(durable.size(), steps));
    const auto from = kept + upTo(content.size() - kept, random);
    std::fill(content.begin() + static_cast<std::ptrdiff_t>(from), content.end(), '\0');
    return content;
}

std::string holedContent(std::string content, Steps steps, std::mt19937_64& random) {
    auto& bytes = steps[upTo(steps.size() - 1, random)].bytes;
    std::fill(bytes.begin(), bytes.end(), '\0');
    for (const auto& step : steps) change(content, step);
    return content;
}

}  // namespace

std::string folderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

std::string DiskImage::content(const std::string& path) const {
    const auto found = files.find(path);
    return found == files.end() ? "" : found->second.content;
}

bool DiskStep::changesEntries() const {
    return kind == Kind::makeFolder || kind == Kind::create || kind == Kind::rename || kind == Kind::remove;
}

SimulatedDisk::SimulatedDisk(const DiskImage& image) : SimulatedDisk() {
    now_.folders.insert(image.folders.begin(), image.folders.end());
    for (const auto& [path, file] : image.files) {
        now_.entries.emplace(path, files_.size());
        files_.push_back({.now = file, .durable = file.content, .unsynced = {}});
    }
    durable_ = now_;
}

void SimulatedDisk::Tree::apply(const DiskStep& step) {
    switch (step.kind) {
        case DiskStep::Kind::makeFolder:
            folders.insert(step.path);
            break;
        case DiskStep::Kind::create:
            entries[step.path] = step.file;
            break;
        case DiskStep::Kind::rename:
            entries.erase(step.path);
            entries[step.newPath] = step.file;
            break;
        default:
            entries.erase(step.path);
    }
}

void SimulatedDisk::apply(const DiskStep& step) {
    if (step.changesEntries()) {
        if (step.kind == DiskStep::Kind::create)
            files_.push_back({.now = {.content = "", .modificationDate = step.time}, .durable = "", .unsynced = {}});
        now_.apply(step);
        unsyncedEntries_.push_back(step);
    } else if (step.kind == DiskStep::Kind::syncFolder) {
        const auto isInside = [&](const DiskStep& made) { return folderOf(made.path) == step.path; };
        for (const auto& made : unsyncedEntries_)
            if (isInside(made)) durable_.apply(made);
        std::erase_if(unsyncedEntries_, isInside);
    } else if (step.kind == DiskStep::Kind::syncFile) {
        auto& file = files_.at(step.file);
        file.durable = file.now.content;
        file.unsynced.clear();
    } else {
        auto& file = files_.at(step.file);
        change(file.now.content, step);
        file.now.modificationDate = step.time;
        file.unsynced.push_back(step);
    }
}

DiskImage SimulatedDisk::image() const {
    DiskImage image{.folders = now_.folders, .files = {}};
    for (const auto& [path, number] : now_.entries) image.files.emplace(path, files_[number].now);
    return image;
}

DiskImage SimulatedDisk::afterPowerLoss(PowerLoss loss) const {
    std::mt19937_64 random(loss.seed);
    const auto tree = treeAfter(loss.entries, random);
    DiskImage image;
    // What lies in a folder that is gone is gone with it.
    std::copy_if(tree.folders.begin(), tree.folders.end(), std::inserter(image.folders, image.folders.end()),
                 [&](const auto& path) { return tree.folders.contains(folderOf(path)); });
    for (const auto& [path, number] : tree.entries) {
        if (!image.folders.contains(folderOf(path))) continue;
        const auto& file = files_[number];
        image.files[path] = {.content = contentAfter(file, loss.data, random),
                             .modificationDate = file.now.modificationDate};
    }
    return image;
}

SimulatedDisk::Tree SimulatedDisk::treeAfter(PowerLoss::Entries entries, std::mt19937_64& random) const {
    auto tree = durable_;
    auto count = unsyncedEntries_.size();
    if (entries == PowerLoss::Entries::lost) count = 0;
    if (entries == PowerLoss::Entries::prefix) count = upTo(count, random);
    for (std::size_t i = 0; i < count; ++i)
        if (entries != PowerLoss::Entries::anySubset || upTo(1, random) == 1) tree.apply(unsyncedEntries_[i]);
    return tree;
}

std::string SimulatedDisk::contentAfter(const File& file, PowerLoss::Data data, std::mt19937_64& random) {
    constexpr auto kinds = static_cast<std::size_t>(PowerLoss::Data::any);
    if (data == PowerLoss::Data::any) data = static_cast<PowerLoss::Data>(upTo(kinds - 1, random));
    if (data == PowerLoss::Data::lost) return file.durable;
    if (data == PowerLoss::Data::kept || file.unsynced.empty()) return file.now.content;
    if (data == PowerLoss::Data::torn) return tornContent(file.durable, file.unsynced, random);
    if (data == PowerLoss::Data::zeros) return zeroedContent(file.durable, file.unsynced, random);
    return holedContent(file.durable, file.unsynced, random);
}

std::size_t SimulatedDisk::fileAt(const std::string& path) const {
    const auto found = now_.entries.find(path);
    return found == now_.entries.end() ? noFile : found->second;
}

bool SimulatedDisk::isLinked(std::size_t file) const {
    return std::any_of(now_.entries.begin(), now_.entries.end(),
                       [&](const auto& entry) { return entry.second == file; });
}

std::vector<std::string> SimulatedDisk::namesIn(const std::string& folder) const {
    std::vector<std::string> names;
    const auto add = [&](const std::string& path) {
        if (path != folder && folderOf(path) == folder) names.push_back(path.substr(path.rfind('/') + 1));
    };
    for (const auto& [path, number] : now_.entries) add(path);
    for (const auto& path : now_.folders) add(path);
    return names;
}

}  // namespace harvelstone::testing
