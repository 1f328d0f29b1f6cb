#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace rt {

/// 128 bits that tell contents apart, for names of cached files: fast, the same on every machine, no protection against
/// somebody who wants two contents to collide. Each add() counts as one field, so "ab" + "c" differs from "a" + "bc".
class ContentHash {
 public:
    void add(const void* pBytes, size_t uBytes);

    void add(const std::string& s) { add(s.data(), s.size()); }

    template <typename T>
    void addValue(const T& value) {
        static_assert(std::is_arithmetic_v<T>, "records may have holes");
        add(&value, sizeof(value));
    }

    /// 32 hexadecimal digits.
    std::string text() const;

 private:
    void addWord(uint64_t u);

    uint64_t uFirst = 0x9E3779B97F4A7C15u;
    uint64_t uSecond = 0xC2B2AE3D27D4EB4Fu;
};

/// Hash of a whole file, empty when it cannot be read.
std::string hashOfFile(const std::string& sFile);

}  // namespace rt
