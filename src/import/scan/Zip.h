#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace rt {

/// The files in a ZIP archive in memory, which must outlive it.
class Zip {
 public:
    /// True when it is no archive that is understood: encrypted, in several parts, or larger than 4 GB.
    [[nodiscard]] bool open(const std::string& sBytes);

    /// Unpacks a file. True when there is none of this name, or it is broken.
    [[nodiscard]] bool unpack(const std::string& sName, std::string& sText) const;

 private:
    struct Entry {
        uint32_t uMethod, uPacked, uSize, uHeader;
    };
    uint32_t number(size_t uAt, unsigned uBytes) const;

    const std::string* pBytes = nullptr;
    std::map<std::string, Entry> entries;
};

}  // namespace rt
