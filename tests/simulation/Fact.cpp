// What a life leaves, as bytes: numbers as they lie in memory, texts behind their length.

#include "tests/simulation/Fact.hpp"

#include <cstring>
#include <stdexcept>

namespace harvelstone::testing {

namespace {

class Packer {
  public:
    template <typename Number>
    void number(Number value) {
        const auto at = bytes.size();
        bytes.resize(at + sizeof value);
        std::memcpy(bytes.data() + at, &value, sizeof value);
    }
    void text(const std::string& value) {
        number(value.size());
        bytes += value;
    }
    std::string bytes;
};

class Unpacker {
  public:
    explicit Unpacker(std::string_view bytes) : rest_(bytes) {}
    template <typename Number>
    Number number() {
        Number value{};
        const auto bytes = take(sizeof value);
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    std::string text() { return std::string(take(number<std::size_t>())); }

  private:
    std::string_view take(std::size_t count) {
        if (count > rest_.size()) throw std::runtime_error("what a life left ends early");
        const auto taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    std::string_view rest_;
};

void pack(Packer& packer, const Fact& fact) {
    packer.number(fact.what);
    packer.number(fact.life);
    packer.number(fact.task);
    packer.number(fact.time);
    packer.number(fact.number);
    packer.text(fact.id);
    packer.text(fact.text);
}

Fact unpackFact(Unpacker& from) {
    Fact fact;
    fact.what = from.number<Fact::What>();
    fact.life = from.number<std::size_t>();
    fact.task = from.number<std::size_t>();
    fact.time = from.number<double>();
    fact.number = from.number<std::int64_t>();
    fact.id = from.text();
    fact.text = from.text();
    return fact;
}

DiskImage unpackDisk(Unpacker& from) {
    DiskImage disk;
    for (auto count = from.number<std::size_t>(); count > 0; --count) disk.folders.insert(from.text());
    for (auto count = from.number<std::size_t>(); count > 0; --count) {
        auto& file = disk.files[from.text()];
        file.content = from.text();
        file.modificationDate = from.number<double>();
    }
    return disk;
}

void pack(Packer& packer, const DiskImage& disk) {
    packer.number(disk.folders.size());
    for (const auto& folder : disk.folders) packer.text(folder);
    packer.number(disk.files.size());
    for (const auto& [path, file] : disk.files) {
        packer.text(path);
        packer.text(file.content);
        packer.number(file.modificationDate);
    }
}

}  // namespace

std::string packed(const Legacy& legacy) {
    Packer packer;
    pack(packer, legacy.disk);
    packer.number(legacy.time);
    packer.number(legacy.nextNumber);
    packer.number(legacy.facts.size());
    for (const auto& fact : legacy.facts) pack(packer, fact);
    packer.number(legacy.violations.size());
    for (const auto& violation : legacy.violations) packer.text(violation);
    packer.number(legacy.switches);
    packer.number(legacy.fingerprint);
    return packer.bytes;
}

Legacy unpackedLegacy(std::string_view bytes) {
    Unpacker from(bytes);
    Legacy legacy;
    legacy.disk = unpackDisk(from);
    legacy.time = from.number<double>();
    legacy.nextNumber = from.number<std::int64_t>();
    for (auto count = from.number<std::size_t>(); count > 0; --count) legacy.facts.push_back(unpackFact(from));
    for (auto count = from.number<std::size_t>(); count > 0; --count) legacy.violations.push_back(from.text());
    legacy.switches = from.number<std::uint64_t>();
    legacy.fingerprint = from.number<std::uint64_t>();
    return legacy;
}

}  // namespace harvelstone::testing
