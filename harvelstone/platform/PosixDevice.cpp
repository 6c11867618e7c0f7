// What a POSIX system tells of itself and of the app: folders, names, connectivity, locale. Every answer is fresh, read
// from the environment, the user's folder settings, the kernel. Any thread.
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <pwd.h>
#include <string_view>
#include <sys/utsname.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include "harvelstone/platform/Device.hpp"
#include "harvelstone/platform/network_interfaces.hpp"

namespace harvelstone::platform {
namespace {

/// Absent when the variable is not set or empty.
std::optional<std::string> environment(const char* name) {
    const auto* value = std::getenv(name);
    if (!value || *value == '\0') return std::nullopt;
    return value;
}

std::string withoutEndingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

/// A folder named in the environment; one that is relative does not count.
std::optional<std::string> folderFromEnvironment(const char* name) {
    const auto folder = environment(name);
    if (!folder || folder->front() != '/') return std::nullopt;
    return withoutEndingSlashes(*folder);
}

std::string homeInAccount() {
    std::array<char, 16 * 1024> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !found->pw_dir ||
        *found->pw_dir != '/')
        return "/";
    return withoutEndingSlashes(found->pw_dir);
}

std::string homeFolder() {
    const auto home = folderFromEnvironment("HOME");
    return home ? *home : homeInAccount();
}

std::string joined(const std::string& folder, std::string_view name) {
    return (folder == "/" ? "" : folder) + "/" + std::string(name);
}

/// The folder in a line like `XDG_DOCUMENTS_DIR="$HOME/Documents"`. The value is absolute or begins with $HOME.
std::optional<std::string> documentsInLine(std::string_view line) {
    constexpr std::string_view start = "XDG_DOCUMENTS_DIR=\"";
    constexpr std::string_view home = "$HOME";
    const auto first = line.find_first_not_of(" \t");
    if (first == std::string_view::npos || !line.substr(first).starts_with(start)) return std::nullopt;
    line.remove_prefix(first + start.size());
    const auto value = line.substr(0, line.find('"'));
    if (value.starts_with('/')) return withoutEndingSlashes(std::string(value));
    if (!value.starts_with(home)) return std::nullopt;
    const auto rest = value.substr(home.size());
    if (!rest.empty() && rest.front() != '/') return std::nullopt;
    return withoutEndingSlashes(homeFolder() + std::string(rest));
}

std::optional<std::string> documentsInUserDirs() {
    const auto settings = folderFromEnvironment("XDG_CONFIG_HOME");
    std::ifstream lines(joined(settings ? *settings : joined(homeFolder(), ".config"), "user-dirs.dirs"));
    std::optional<std::string> folder;
    for (std::string line; std::getline(lines, line);) {
        if (auto found = documentsInLine(line)) folder = std::move(found);  // the last one counts, as in a shell
    }
    return folder;
}

std::string nameOfExecutable() {
    std::array<char, 4096> path{};
    const auto length = readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0) return "";
    const std::string_view text(path.data(), static_cast<std::size_t>(length));
    return std::string(text.substr(text.rfind('/') + 1));
}

struct Locale {
    std::string language = "en";
    std::string country;
};

bool isLetters(std::string_view text, std::size_t fewest, std::size_t most) {
    if (text.size() < fewest || text.size() > most) return false;
    for (const char letter : text) {
        if (std::isalpha(static_cast<unsigned char>(letter)) == 0) return false;
    }
    return true;
}

/// Reads "en_GB.UTF-8@euro"; "C", "POSIX" and whatever is no such name leave the defaults.
Locale localeNamed(std::string_view name) {
    Locale locale;
    const auto place = name.substr(0, name.find_first_of(".@"));
    const auto separator = place.find('_');
    const auto language = place.substr(0, separator);
    if (!isLetters(language, /*fewest=*/2, /*most=*/3)) return locale;
    locale.language = std::string(language);
    if (separator == std::string_view::npos) return locale;
    const auto country = place.substr(separator + 1);
    if (isLetters(country, /*fewest=*/2, /*most=*/2)) locale.country = std::string(country);
    return locale;
}

Locale currentLocale() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const auto name = environment(variable)) return localeNamed(*name);
    }
    return {};
}

}  // namespace

std::vector<std::string> PosixDevice::documentsDirectories() const {
    if (const auto folder = folderFromEnvironment("XDG_DOCUMENTS_DIR")) return {*folder};
    if (const auto folder = documentsInUserDirs()) return {*folder};
    return {joined(homeFolder(), "Documents")};
}

std::string PosixDevice::bundleIdentifier() const {
    const std::string name = program_invocation_short_name;
    return name.empty() ? nameOfExecutable() : name;
}

std::string PosixDevice::uuidText() const {
    std::array<unsigned char, sizeof(uuid_t)> uuid{};
    std::array<char, UUID_STR_LEN> text{};
    uuid_generate_random(uuid.data());
    uuid_unparse_upper(uuid.data(), text.data());
    return text.data();
}

bool PosixDevice::isConnectedToNetwork() const { return connectionType() != "none"; }

std::string PosixDevice::connectionType() const { return connectionTypeOf(networkInterfaces()); }

std::string PosixDevice::operatingSystem() const {
    utsname system{};
    if (uname(&system) != 0) return "unknown";
    return std::string(system.sysname) + " " + system.release;
}

std::string PosixDevice::machine() const {
    utsname system{};
    if (uname(&system) != 0) return "unknown";
    return system.machine;
}

std::string PosixDevice::language() const { return currentLocale().language; }

std::string PosixDevice::country() const { return currentLocale().country; }

}  // namespace harvelstone::platform
