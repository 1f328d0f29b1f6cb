#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/NewArray.h"

namespace Velk {

/// Growable array of plain records, copied bytewise when it grows. Itself a plain record: the owner sets it up with
/// create() and must call Release(); copies share the storage. When memory runs out, an element is dropped and the
/// array stays as it was.
template <typename T>
struct NDataVector {
    T* pData = nullptr;      // uCapacity default-constructed elements
    uint32_t uCapacity = 0;  // slots allocated
    uint32_t uSize = 0;      // elements in use
    uint32_t uGrowBy = 0;    // slots added each time the array is full

    /// Sets up an empty array with a first block of slots. Requires that it holds no storage. True when out of memory;
    /// the array is usable then, and PushBack() tries again.
    bool create(uint32_t uFirstBlock, uint32_t uStep) {
        static_assert(std::is_trivially_copyable_v<T>, "elements move bytewise");
        pData = newArray<T>(uFirstBlock);
        uCapacity = pData ? uFirstBlock : 0;
        uSize = 0;
        uGrowBy = uStep;
        return !pData;
    }

    /// Appends one element. True when it was dropped: out of memory, or full with a growth step of 0.
    bool PushBack(const T& value) {
        if (uSize == uCapacity) {
            const T copy = value;  // the value may lie in the old block
            if (grow()) return true;
            pData[uSize++] = copy;
            return false;
        }
        pData[uSize++] = value;
        return false;
    }

    /// Frees the storage; the growth step stays.
    void Release() {
        delete[] pData;
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
    T* begin() { return pData; }
    T* end() { return pData + uSize; }
    const T* begin() const { return pData; }
    const T* end() const { return pData + uSize; }

 private:
    bool grow() {
        const uint32_t uNew = uCapacity + uGrowBy;
        if (uNew <= uCapacity) return true;
        T* pNew = newArray<T>(uNew);
        if (!pNew) return true;
        if (uCapacity) memcpy(static_cast<void*>(pNew), pData, size_t{uCapacity} * sizeof(T));
        delete[] pData;
        pData = pNew;
        uCapacity = uNew;
        return false;
    }
};

}  // namespace Velk
