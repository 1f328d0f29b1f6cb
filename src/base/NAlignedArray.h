#pragma once

#include <cassert>
#include <cstdint>
#include <cstdlib>

#include "base/LargeBlock.h"

namespace Velk {

/// Fixed-size array of plain records at a given alignment in bytes; elements are not initialised. Itself a plain
/// record: the owner must call Release(), and copies share the storage.
template <typename T>
struct NAlignedArray {
    T* pData = nullptr;
    uint32_t uCount = 0;
    uint32_t uAlignment = 0;

    /// Allocates n elements. Requires an empty array. True when out of memory; the array stays empty then.
    bool allocate(uint32_t n, uint32_t uAlign) {
        assert(!pData);
        void* pNew = nullptr;
        if (sizeof(size_t) == 4 && n > SIZE_MAX / sizeof(T)) return true;
        if (posix_memalign(&pNew, uAlign, size_t{n} * sizeof(T)) || !pNew) return true;
        preferLargePages(pNew, size_t{n} * sizeof(T));
        pData = static_cast<T*>(pNew);
        uCount = n;
        uAlignment = uAlign;
        return false;
    }

    void Release() {
        free(pData);
        pData = nullptr;
        uCount = 0;
    }

    T& operator[](uint32_t u) {
        assert(u < uCount);
        return pData[u];
    }
    const T& operator[](uint32_t u) const {
        assert(u < uCount);
        return pData[u];
    }
    T* begin() { return pData; }
    T* end() { return pData + uCount; }
    const T* begin() const { return pData; }
    const T* end() const { return pData + uCount; }
};

}  // namespace Velk
