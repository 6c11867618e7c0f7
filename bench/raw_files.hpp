#pragma once

#include <string>
#include <string_view>

/// The least that the system asks for what a store does: its calls, and nothing around them. What fails raises
/// std::system_error.
namespace harvelstone::bench {

enum class Durability { synced, unsynced };

/// Opens the file, or makes it, writes the bytes at its end with one call, syncs its data if asked to, closes it.
void appendToFile(const std::string& path, std::string_view bytes, Durability durability);

/// Writes the bytes to a file beside it, syncs its data, and renames it into place.
void replaceFile(const std::string& path, std::string_view bytes);

void syncFolder(const std::string& path);
/// Of the file system that the folder lies on, everything.
void syncFileSystem(const std::string& path);

/// Lists the folder and asks for the attributes of each file in it. Gives their number.
std::size_t lookAtEveryFile(const std::string& path);

void removeFile(const std::string& path);

std::string readFile(const std::string& path);

}  // namespace harvelstone::bench
