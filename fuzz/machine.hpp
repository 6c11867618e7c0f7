#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "harvelstone/services/StorageFolder.hpp"

#include "tests/support/MemoryFileSystem.hpp"
#include "tests/support/ServicesFixture.hpp"

namespace harvelstone::fuzz {

/// The faked machine, one for all inputs of a run. Nothing of it lies on a real disk.
inline testing::Machine& machine() {
    static testing::Machine theMachine("/documents");
    return theMachine;
}

/// A new disk for this input, with nothing but the file of that name in the storage folder; nothing without a name.
inline std::shared_ptr<testing::MemoryFileSystem> diskWith(const std::string& name, std::string_view content) {
    auto& running = machine();
    testing::DiskImage image;
    image.folders = {"/", running.documents, running.documents + "/harvelstone"};
    if (!name.empty()) image.files[storedFilePath(name)] = {std::string(content), running.clock->now()};
    auto disk = std::make_shared<testing::MemoryFileSystem>(running.clock, image);
    running.setFileSystem(disk);
    running.log->clear();
    return disk;
}

/// What the file of that name was set aside as; "" when nothing was.
inline std::string contentSetAside(const testing::MemoryFileSystem& disk, const std::string& name) {
    const auto image = disk.image();
    const auto isOfName = [&](const auto& file) {
        return corruptFileOwner(std::string_view(file.first).substr(storageFolder().size())) == name;
    };
    const auto found = std::find_if(image.files.begin(), image.files.end(), isOfName);
    return found == image.files.end() ? "" : found->second.content;
}

}  // namespace harvelstone::fuzz
