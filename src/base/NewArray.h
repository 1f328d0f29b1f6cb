#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace Velk {

/// uCount default-constructed elements from the array new that does not throw, for the caller to delete[]. Null without
/// memory, and for a size beyond the address space, for which the bare operator throws in spite of its name.
template <typename T>
T* newArray(uint64_t uCount) {
    if (uCount > SIZE_MAX / 2 / sizeof(T)) return nullptr;
    return new (std::nothrow) T[static_cast<size_t>(uCount)];
}

}  // namespace Velk
