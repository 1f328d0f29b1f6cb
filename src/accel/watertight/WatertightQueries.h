#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "accel/RayStream.h"
#include "accel/watertight/ClosestPoint.h"
#include "accel/watertight/WatertightBvh.h"
#include "accel/watertight/WatertightKernel.h"
#include "accel/watertight/WatertightRay.h"

namespace rt {

/// Answers ray queries about triangles, watertight and exact: what a ray meets is defined by a test of one face
/// (docs/queries.md, "Watertight queries"), and no answer depends on how it is found. After build() any number of
/// threads may ask at once.
class WatertightQueries {
 public:
    WatertightQueries() = default;
    WatertightQueries(const WatertightQueries&) = delete;
    WatertightQueries& operator=(const WatertightQueries&) = delete;

    /// Builds from uVertices positions of three floats and uFaces triangles of three indices, with uThreads threads;
    /// the arrays are copied. A face with a coordinate beyond 2^60, which is more than 1e18, or none that is a number,
    /// is met by no ray. True when an index is not below uVertices, with more than 2^28 - 1 faces, when stopped, or
    /// without memory; every query misses then.
    [[nodiscard]] bool build(const float* pPositions, uint32_t uVertices, const uint32_t* pIndices, uint32_t uFaces,
                             unsigned uThreads = 1, StopFlag pStop = nullptr);

    /// Frees everything; every query misses then.
    void release() { bvh.release(); }

    /// The nearest hit of each ray of a stream, from its origin on; of two at the same t the lower face. For rays that
    /// are close to each other. Requires room for stream.uCount hits, as anyOf() does. bScattered: some may also
    /// have nothing in common.
    void nearestOf(const RayStream& stream, WatertightHit* pHits, bool bScattered = false) const;

    /// Whether each ray of a stream meets anything.
    void anyOf(const RayStream& stream, bool* pMeets, bool bScattered = false) const;

    /// The same for rays of any kind.
    void nearest(const WatertightRay* pRays, size_t uRays, WatertightHit* pHits) const;
    void any(const WatertightRay* pRays, size_t uRays, bool* pMeets) const;

    /// All hits of a ray, the nearest first, at the same t the lower face. vHits is cleared first.
    void all(const WatertightRay& ray, std::vector<WatertightHit>& vHits) const;

    /// The number of hits of a ray.
    size_t count(const WatertightRay& ray) const;

    /// The point of the faces that is closest to a point of three floats, no further away than dLimit, with the
    /// distance in double; of two at the same distance that of the lower face.
    WatertightClosest closestPoint(const float* pPoint, double dLimit = HUGE_VAL) const {
        return closestOfMesh(bvh, pPoint, dLimit);
    }

    /// Memory of what is searched.
    size_t bytes() const;

    const WatertightKernel* pKernel = &bestWatertightKernel();  // not to be changed while others ask

 private:
    WatertightData data() const;

    WatertightBvh bvh;
};

}  // namespace rt
