#pragma once

#include <cstdint>

#include "accel/RayStream.h"
#include "accel/bvh/Bvh.h"
#include "accel/kdtree/KDTree.h"
#include "accel/packet/RayKernel.h"
#include "base/NArrays.h"
#include "scene/FaceData.h"

namespace rt {

class Scene;

/// Answers ray queries about a scene, whole streams of rays at once. The kd-tree defines the answers. A kernel for this
/// machine finds hits in a BVH and confirms them; the few rays that it leaves open walk the kd-tree. After build() all
/// const operations are thread-safe.
class RayQueries {
 public:
    KDTree kdTree;
    const RayKernel* pKernel = &bestKernel();  // answers the stream queries

    RayQueries() = default;
    RayQueries(const RayQueries&) = delete;
    RayQueries& operator=(const RayQueries&) = delete;

    /// Loads or builds the kd-tree of a preprocessed scene, which must outlive it, and the BVH, for rays whose origins
    /// mostly have no larger coordinate than fFarthestOrigin (0: not known). Frees what was built before. True when out
    /// of memory, which is logged; everything is empty then.
    [[nodiscard]] bool build(const Scene& scene, bool bResetCache, float fFarthestOrigin = 0.0f);

    /// Frees everything; every query misses then.
    void release();

    /// KDTree::findNearestFace for every ray of a stream: the hit face's index or NO_INDEX in pFaces[ray], and the hit
    /// record of a ray that hit in pHits[ray]. Requires room for stream.uCount of each, as findObstacles() does. Faster
    /// than one by one, with the same answers to the last bit. Returns how many rays the kernel left to the tree.
    uint32_t findNearestFaces(const RayStream& stream, uint32_t* pFaces, RayTestOutput* pHits) const;

    /// KDTree::findObstacle for every ray of a stream, in pBlocked[ray]. Returns how many rays the kernel left to the
    /// tree.
    uint32_t findObstacles(const RayStream& stream, bool* pBlocked) const;

    /// Bytes of the BVH and the lists, without the kd-tree.
    size_t bytes() const;

 private:
    bool prepare(float fFarthestOrigin);
    TraversalData traversalData() const;

    Bvh bvh;                               // over the same faces, faster to search
    Velk::NAlignedArray<uint32_t> vLists;  // the leaves' lists as the packet kernels read them
};

}  // namespace rt
