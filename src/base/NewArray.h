#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace Velk {

/// uCount default-constructed elements, for the caller to delete[]. Null when out of memory, and for a size beyond the
/// address space, for which even the nothrow operator throws.
template <typename T>
T* newArray(uint64_t uCount) {
    if (uCount > SIZE_MAX / 2 / sizeof(T)) return nullptr;
    return new (std::nothrow) T[static_cast<size_t>(uCount)];
}

}  // namespace Velk
