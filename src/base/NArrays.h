#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "base/LargeBlock.h"

namespace Velk {

/// The storage of all arrays of plain records: owned, aligned, not initialised, moved but never copied.
template <typename T>
struct NStorage {
    T* pData = nullptr;
    uint32_t uAlignment = 0;  // 0: the natural one of T

    NStorage() = default;
    ~NStorage() { free(pData); }
    NStorage(NStorage&& other) noexcept : pData(std::exchange(other.pData, nullptr)), uAlignment(other.uAlignment) {}
    NStorage& operator=(NStorage&& other) noexcept {
        std::swap(pData, other.pData);
        std::swap(uAlignment, other.uAlignment);
        return *this;
    }

 protected:
    // Moves the first uKept elements into a new block of uNew elements. True when out of memory; nothing has changed
    // then.
    bool replace(uint32_t uNew, uint32_t uKept) {
        static_assert(std::is_trivially_copyable_v<T>, "elements move bytewise");
        void* pNew = nullptr;
        if (sizeof(size_t) == 4 && uNew > SIZE_MAX / sizeof(T)) return true;
        const size_t uAlign = uAlignment ? uAlignment : std::max(alignof(T), alignof(void*));
        if (posix_memalign(&pNew, uAlign, size_t{uNew} * sizeof(T)) || !pNew) return true;
        preferLargePages(pNew, size_t{uNew} * sizeof(T));
        if (uKept) memcpy(pNew, static_cast<const void*>(pData), size_t{uKept} * sizeof(T));
        free(pData);
        pData = static_cast<T*>(pNew);
        return false;
    }

    void freeStorage() {
        free(pData);
        pData = nullptr;
    }
};

/// Fixed-size array of plain records at a given alignment in bytes; elements are not initialised.
template <typename T>
struct NAlignedArray : NStorage<T> {
    using NStorage<T>::pData;
    uint32_t uCount = 0;

    /// Makes room for n elements in an empty array. True when out of memory; the array stays empty then.
    [[nodiscard]] bool allocate(uint32_t n, uint32_t uAlign) {
        assert(!pData);
        const uint32_t uOld = std::exchange(this->uAlignment, uAlign);
        if (this->replace(n, 0)) {
            this->uAlignment = uOld;
            return true;
        }
        uCount = n;
        return false;
    }

    void Release() {
        this->freeStorage();
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

/// Growable array of plain records at a given alignment in bytes. When memory runs out, an element is dropped and the
/// array stays as it was.
template <typename T>
struct NAlignedDataVector : NStorage<T> {
    using NStorage<T>::pData;
    uint32_t uCapacity = 0;  // slots; those from uSize on are not initialised
    uint32_t uSize = 0;      // elements in use
    uint32_t uGrowBy = 0;    // slots added each time the array is full

    /// Empties the array and gives it a first block of slots; an alignment of 0 keeps the present one. True when out of
    /// memory; the array is usable then, and PushBack() tries again.
    bool create(uint32_t uFirstBlock, uint32_t uStep, uint32_t uAlign = 0) {
        Release();
        if (uAlign) this->uAlignment = uAlign;
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
        if (this->replace(uNew, uSize)) return true;
        uCapacity = uNew;
        return false;
    }

    /// Frees the storage; the growth step stays.
    void Release() {
        this->freeStorage();
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
};

/// The same at the record's natural alignment.
template <typename T>
using NDataVector = NAlignedDataVector<T>;

}  // namespace Velk
