#pragma once

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "base/LargeBlock.h"

namespace Velk {

/// NDataVector with storage at a given alignment in bytes; new slots are not initialised. The same ownership rules.
template <typename T>
struct NAlignedDataVector {
    T* pData = nullptr;
    uint32_t uCapacity = 0;
    uint32_t uAlignment = 0;
    uint32_t uSize = 0;
    uint32_t uGrowBy = 0;

    /// Sets up an empty array with a first block of slots. Requires that it holds no storage. True when out of memory.
    bool create(uint32_t uFirstBlock, uint32_t uStep, uint32_t uAlign) {
        static_assert(std::is_trivially_copyable_v<T>, "elements move bytewise");
        *this = NAlignedDataVector{};
        uAlignment = uAlign;
        uGrowBy = uStep;
        return resize(uFirstBlock);
    }

    /// Appends one element. True when it was dropped: out of memory, or full with a growth step of 0.
    bool PushBack(const T& value) {
        const T copy = value;  // the value may lie in the old block
        if (uSize == uCapacity && (uCapacity + uGrowBy <= uCapacity || resize(uCapacity + uGrowBy))) return true;
        pData[uSize++] = copy;
        return false;
    }

    /// Moves the elements into a block of uNew slots, at least uSize. True when out of memory; nothing has changed
    /// then.
    bool resize(uint32_t uNew) {
        assert(uNew >= uSize);
        void* pNew = nullptr;
        if (sizeof(size_t) == 4 && uNew > SIZE_MAX / sizeof(T)) return true;
        if (posix_memalign(&pNew, uAlignment, size_t{uNew} * sizeof(T))) return true;
        preferLargePages(pNew, size_t{uNew} * sizeof(T));
        if (uSize) memcpy(pNew, pData, size_t{uSize} * sizeof(T));
        free(pData);
        pData = static_cast<T*>(pNew);
        uCapacity = uNew;
        return false;
    }

    void Release() {
        free(pData);
        pData = nullptr;
        uCapacity = 0;
        uSize = 0;
    }

    T& operator[](uint32_t u) {
        assert(u < uCapacity);
        return pData[u];
    }
    const T& operator[](uint32_t u) const {
        assert(u < uCapacity);
        return pData[u];
    }
    const T* begin() const { return pData; }
    const T* end() const { return pData + uSize; }
};

}  // namespace Velk
