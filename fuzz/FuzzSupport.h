#pragma once

// What the fuzz targets share: a quiet working directory of the process, numbers made of the input, and the comparison
// of all ways to ask a ray.

#include <cstddef>
#include <cstdint>

#include "accel/queries/RayQueries.h"
#include "support/Files.h"
#include "support/Meshes.h"

using namespace rt;

/// Stops the process with a message when a property does not hold.
void require(bool bHolds, const char* szWhat);

/// Asks every kernel for the rays of a stream and requires the answers of the single-ray walk, to the last bit.
void requireSameAnswers(RayQueries& queries, const RayStream& stream);

/// Bytes as numbers, until they run out; zeros then.
class Source {
 public:
    Source(const uint8_t* pBytes, size_t uBytes) : p(pBytes), pEnd(pBytes + uBytes) {}

    bool isEmpty() const { return p == pEnd; }
    uint32_t below(uint32_t uLimit) { return take<uint32_t>() % uLimit; }

    /// Whole numbers, fractions, neighbours of the number before, or any bits.
    float number();
    Velk::NMVector3f vector();

    template <typename T>
    T take() {
        T value{};
        for (size_t u = 0; u < sizeof(T) && p != pEnd; ++u) reinterpret_cast<uint8_t*>(&value)[u] = *p++;
        return value;
    }

 private:
    const uint8_t *p, *pEnd;
    float fLast = 0.0f;
};

/// A small mesh of any numbers.
Mesh makeMesh(Source& source);

/// Fills a stream with rays through a box, some of them hostile.
void addRays(RayStream& stream, Source& source, const Velk::BoxAABB& box, uint32_t uRays);
