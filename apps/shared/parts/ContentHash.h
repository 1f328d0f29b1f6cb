#pragma once

#define XXH_STATIC_LINKING_ONLY  // shows what the state consists of
#include <xxhash.h>

#include <cstddef>
#include <string>
#include <type_traits>

namespace rt {

/// 128 bits that tell contents apart, for names of cached files: fast, the same on every machine, no protection against
/// somebody who wants two contents to collide. Each add() counts as one field, so "ab" + "c" differs from "a" + "bc".
class ContentHash {
 public:
    ContentHash() { XXH3_128bits_reset(&state); }

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
    XXH3_state_t state;
};

/// Hash of a whole file, empty when it cannot be read.
std::string hashOfFile(const std::string& sFile);

}  // namespace rt
