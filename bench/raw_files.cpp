#include "bench/raw_files.hpp"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace harvelstone::bench {

namespace {

void require(bool succeeded, const std::string& path) {
    if (!succeeded) throw std::system_error(errno, std::generic_category(), path);
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

void writeFile(const std::string& path, std::string_view bytes, int mode, Durability durability) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | mode, 0600);
    require(file >= 0, path);
    require(::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), path);
    if (durability == Durability::synced) require(::fdatasync(file) == 0, path);
    require(::close(file) == 0, path);
}

}  // namespace

void appendToFile(const std::string& path, std::string_view bytes, Durability durability) {
    writeFile(path, bytes, O_APPEND, durability);
}

void replaceFile(const std::string& path, std::string_view bytes) {
    const auto beside = path + ".new";
    writeFile(beside, bytes, O_TRUNC, Durability::synced);
    require(std::rename(beside.c_str(), path.c_str()) == 0, path);
}

void syncFolder(const std::string& path) {
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0, path);
    require(::fsync(folder) == 0, path);
    require(::close(folder) == 0, path);
}

void syncFileSystem(const std::string& path) {
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0, path);
    require(::syncfs(folder) == 0, path);
    require(::close(folder) == 0, path);
}

std::size_t lookAtEveryFile(const std::string& path) {
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(path.c_str()));
    require(folder != nullptr, path);
    std::size_t count = 0;
    while (const auto* entry = ::readdir(folder.get())) {
        if (entry->d_name[0] == '.') continue;
        struct stat attributes {};
        require(::fstatat(::dirfd(folder.get()), entry->d_name, &attributes, AT_SYMLINK_NOFOLLOW) == 0, path);
        ++count;
    }
    return count;
}

void removeFile(const std::string& path) { require(::unlink(path.c_str()) == 0, path); }

std::string readFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(file >= 0, path);
    struct stat attributes {};
    require(::fstat(file, &attributes) == 0, path);
    std::string bytes(static_cast<std::size_t>(attributes.st_size), '\0');
    require(::read(file, bytes.data(), bytes.size()) == attributes.st_size, path);
    require(::close(file) == 0, path);
    return bytes;
}

}  // namespace harvelstone::bench
