#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace harvelstone::testing {

/// What a process finds on a disk.
struct DiskFile {
    std::string content;
    double modificationDate = 0;  ///< seconds since 1970
    friend bool operator==(const DiskFile&, const DiskFile&) = default;
};
struct DiskImage {
    std::set<std::string> folders;          ///< paths, without a slash at the end; "/" is always there
    std::map<std::string, DiskFile> files;  ///< by path

    /// The content of a file; "" when there is none.
    std::string content(const std::string& path) const;
    friend bool operator==(const DiskImage&, const DiskImage&) = default;
};

/// One step of a disk's life: a change, or the demand that changes be durable.
struct DiskStep {
    enum class Kind { makeFolder, create, append, truncate, rename, remove, syncFile, syncFolder };

    Kind kind = Kind::create;
    std::size_t file = 0;      ///< which file, whatever it is called by now; not for folders
    std::string path = {};     ///< the entry; for `rename` the old one
    std::string newPath = {};  ///< for `rename`
    std::string bytes = {};    ///< for `append`
    std::uint64_t size = 0;    ///< for `truncate`
    double time = 0;           ///< seconds since 1970

    /// Whether it leaves a folder with other entries.
    bool changesEntries() const;
    /// Whether it leaves the disk as a running process sees it.
    bool isSync() const { return kind == Kind::syncFile || kind == Kind::syncFolder; }
};

/// What a loss of power makes of all that was not synced. What was synced is there in every case.
struct PowerLoss {
    enum class Entries {
        lost,      ///< no entry that was made, renamed or removed since its folder was synced
        kept,      ///< all of them
        prefix,    ///< those before some moment: a journal
        anySubset  ///< some of them, whatever their order
    };
    enum class Data {
        lost,   ///< a file is as long as when it was synced
        kept,   ///< all that was written
        torn,   ///< what was written before some moment, the last append up to any byte
        zeros,  ///< the same, and zeros from some byte of what was not synced
        hole,   ///< all that was written but one append, which is zeros
        any,    ///< one of these for each file
    };
    Entries entries = Entries::lost;
    Data data = Data::lost;
    std::uint64_t seed = 0;  ///< of the choices
};

/// A disk in memory that knows what is durable. It is a plain value: copied, it is another disk; fed with the same
/// steps, it is the same one. Knows nothing of processes, open files and errors (see MemoryFileSystem).
class SimulatedDisk {
  public:
    SimulatedDisk() { now_.folders = durable_.folders = {"/"}; }
    /// With this on it, all of it durable.
    explicit SimulatedDisk(const DiskImage& image);

    void apply(const DiskStep& step);

    /// What is there for every process, and after the death of all processes.
    DiskImage image() const;
    DiskImage afterPowerLoss(PowerLoss loss) const;

    // ---- For a file system ----

    static constexpr std::size_t noFile = static_cast<std::size_t>(-1);
    std::size_t fileAt(const std::string& path) const;  ///< `noFile` when there is none
    bool isLinked(std::size_t file) const;              ///< whether it has a name
    bool isFolder(const std::string& path) const { return now_.folders.contains(path); }
    const DiskFile& file(std::size_t number) const { return files_.at(number).now; }
    std::size_t nextFile() const { return files_.size(); }
    std::vector<std::string> namesIn(const std::string& folder) const;

  private:
    struct File {
        DiskFile now;
        std::string durable;
        std::vector<DiskStep> unsynced;  // appends and truncations
    };
    /// Names of files and folders.
    struct Tree {
        std::set<std::string> folders;
        std::map<std::string, std::size_t> entries;
        void apply(const DiskStep& step);
    };

    Tree treeAfter(PowerLoss::Entries entries, std::mt19937_64& random) const;
    static std::string contentAfter(const File& file, PowerLoss::Data data, std::mt19937_64& random);

    std::vector<File> files_;
    Tree now_;
    Tree durable_;
    std::vector<DiskStep> unsyncedEntries_;
};

/// The folder that an entry lies in, without a slash at the end.
std::string folderOf(const std::string& path);

}  // namespace harvelstone::testing
