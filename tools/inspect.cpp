// `harvelstone inspect`: prints what lies in a storage folder.

#include "tools/inspect.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>

#include "harvelstone/api/ledger_value.hpp"
#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Clock.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Json.hpp"

#include "tools/exit_codes.hpp"
#include "tools/inspector_page.hpp"
#include "tools/unsent_records.hpp"

namespace harvelstone::tools {

namespace {

/// Lines with an indentation.
class Tree {
  public:
    void add(int depth, std::string_view line) {
        fmt::format_to(std::back_inserter(text_), "{:{}}{}\n", "", 2 * depth, line);
    }

    /// A value under its name: containers one level deep, what is deeper as JSON text.
    void addValue(int depth, const std::string& name, const Value& value) {
        if (const auto* dictionary = value.dictionary()) {
            add(depth, fmt::format("{} ({} values)", name, dictionary->size()));
            for (const auto& [key, member] : *dictionary) {
                add(depth + 1, fmt::format("{}: {}", key, platform::jsonText(member)));
            }
        } else if (const auto* list = value.list()) {
            add(depth, fmt::format("{} ({})", name, list->size()));
            for (const auto& element : *list) add(depth + 1, platform::jsonText(element));
        } else {
            add(depth, fmt::format("{}: {}", name, platform::jsonText(value)));
        }
    }

    std::string take() && { return std::move(text_); }

  private:
    std::string text_;
};

bool isPending(const StorageContents& contents, const std::string& id) {
    return std::find(contents.pending.begin(), contents.pending.end(), Value(id)) != contents.pending.end();
}

void addFolder(Tree& tree, int depth, const StorageContents& folder) {
    tree.add(depth, fmt::format("pending ({})", folder.pending.size()));
    for (const auto& id : folder.pending) tree.add(depth + 1, platform::describe(id));
    tree.add(depth, "documentDB");
    for (const auto& [key, value] : folder.documentDB) tree.addValue(depth + 1, key, value);
    tree.add(depth, fmt::format("documents ({})", folder.documents.size()));
    for (const auto& [id, sections] : folder.documents) {
        tree.add(depth + 1, isPending(folder, id) ? id : id + " (not pending)");
        for (const auto& [key, section] : *sections.dictionary()) tree.addValue(depth + 2, key, section);
    }
    tree.add(depth, fmt::format("queues ({})", folder.queues.size()));
    for (const auto& [name, records] : folder.queues) {
        tree.addValue(depth + 1, name, records);
        if (const auto held = findValue(folder.held, name))
            tree.add(depth + 2, fmt::format("the document holds the first {} already", held->integerValue()));
    }
    tree.add(depth, "ledger");
    const auto ledger = ledgerValue(folder.ledger);
    for (const auto& [key, value] : ledger) tree.addValue(depth + 1, key, value);
}

/// The storage folder that is meant: the folder itself, or the one in a Documents folder.
std::string storageFolderIn(const std::string& folder) {
    const std::filesystem::path path(folder);
    std::error_code ignored;  // what cannot be looked at is not there
    if (std::filesystem::exists(path / "DocumentDB.Harvelstone", ignored)) return folder;
    const auto inner = path / "harvelstone";
    return std::filesystem::is_directory(inner, ignored) ? inner.string() : folder;
}

Dictionary folderValue(StorageContents folder) {
    return {{"pending", std::move(folder.pending)},     {"documentDB", std::move(folder.documentDB)},
            {"documents", std::move(folder.documents)}, {"queues", std::move(folder.queues)},
            {"held", std::move(folder.held)},           {"ledger", ledgerValue(folder.ledger)}};
}

Dictionary storageValue(StorageContents contents) {
    Dictionary forked;
    for (auto& child : contents.forked) {
        auto name = child.folder.substr(0, child.folder.find('/'));
        forked.emplace(std::move(name), folderValue(std::move(child)));
    }
    Dictionary members{{"forked", std::move(forked)}, {"damaged", std::move(contents.damaged)}};
    members.merge(folderValue(std::move(contents)));
    return members;
}

/// Replaces the file's content; false when the disk refuses it.
bool writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    return file.good();
}

/// What goes to standard output.
std::string outputFor(const InspectOptions& options, const StorageContents& contents) {
    switch (options.format) {
        case InspectFormat::json:
            return storageJson(contents) + "\n";
        case InspectFormat::unsentRecords:
            return unsentRecordLines(contents);
        case InspectFormat::text:
            break;
    }
    if (options.verifies) return damageText(contents);
    return options.htmlFile ? "" : storageText(contents);
}

}  // namespace

std::string storageJson(StorageContents contents) { return platform::jsonText(storageValue(std::move(contents))); }

std::string storageText(const StorageContents& contents) {
    Tree tree;
    addFolder(tree, 0, contents);
    for (const auto& child : contents.forked) {
        tree.add(0, child.folder);
        addFolder(tree, 1, child);
    }
    tree.add(0, fmt::format("damaged ({})", contents.damaged.size()));
    for (const auto& damage : contents.damaged) tree.add(1, platform::jsonText(damage));
    return std::move(tree).take();
}

std::string storageHtml(StorageContents contents, const std::string& folder) {
    return inspectorPageWith(
        platform::jsonText(Dictionary{{"folder", folder},
                                      {"made", platform::dateString(platform::SystemClock().now())},
                                      {"contents", storageValue(std::move(contents))}}));
}

std::string damageText(const StorageContents& contents) {
    if (contents.damaged.empty()) return "no damage\n";
    std::string text;
    for (const auto& damage : contents.damaged) {
        const auto& entry = *damage.dictionary();
        text += fmt::format("{}: {}", *entry.at("file").string(), *entry.at("why").string());
        if (entry.contains("offset")) {
            text += fmt::format(" (offset {}, {} bytes)", entry.at("offset").integerValue(),
                                entry.at("bytes").integerValue());
        }
        text += "\n";
    }
    return text;
}

int runInspect(const InspectOptions& options) {
    const auto folder = storageFolderIn(options.folder);
    std::string error;
    const auto contents = readStorage(folder, error);
    if (!contents) {
        std::cerr << fmt::format("harvelstone inspect: cannot read {}: {}\n", folder, error);
        return exitFailed;
    }
    if (options.htmlFile && !writeFile(*options.htmlFile, storageHtml(*contents, folder))) {
        std::cerr << fmt::format("harvelstone inspect: cannot write {}\n", *options.htmlFile);
        return exitFailed;
    }
    std::cout << outputFor(options, *contents) << std::flush;
    if (options.verifies && !contents->damaged.empty()) return exitFailed;
    return std::cout ? exitDone : exitFailed;
}

}  // namespace harvelstone::tools
