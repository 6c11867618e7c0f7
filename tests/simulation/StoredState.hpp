#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Value.hpp"

#include "tests/simulation/PassModel.hpp"
#include "tests/support/SimulatedDisk.hpp"

namespace harvelstone::testing {

inline constexpr const char* homeFolder = "/home";
inline constexpr const char* documentsFolder = "/home/documents";

/// The device before the app was installed.
inline DiskImage newDevice() { return {.folders = {"/", homeFolder}, .files = {}}; }

/// Prefixes of the queues whose records go into documents, with the section of each.
const std::map<std::string, std::string>& sectionsByQueue();

/// "goal_" and the document's id, of a queue's file name.
struct QueueName {
    std::string prefix;
    std::string document;
};
std::optional<QueueName> queueNameOf(const std::string& fileName);

/// The last part of a path.
std::string fileNameOf(const std::string& path);
std::string storedPath(const std::string& fileName);

/// Simulated records bear numbers that look like no other text: eight digits, the first two of them 77. Each number
/// once, in the order of the first appearance.
std::vector<std::int64_t> numbersIn(std::string_view text);

/// How often each number stands in each section of a document's content; sections by their queue's prefix.
std::map<std::string, std::multiset<std::int64_t>> numbersOf(const Dictionary& document);

// What lies on a disk, read without the library's help.
std::optional<Dictionary> mapOn(const DiskImage& disk, const std::string& name);
std::vector<std::string> pendingOn(const DiskImage& disk);
struct StoredLedger {
    std::int64_t created = 0;
    std::map<std::string, std::int64_t> retired;  ///< by fate
};
StoredLedger ledgerOn(const DiskImage& disk);
WaitingDocument documentOn(const DiskImage& disk, const std::string& id);

}  // namespace harvelstone::testing
