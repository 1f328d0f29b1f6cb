#pragma once

#include <cstdint>

#include "accel/RayStream.h"
#include "accel/bvh/Bvh.h"
#include "accel/kdtree/KDTree.h"
#include "accel/packet/RayKernel.h"
#include "accel/watertight/WatertightQueries.h"
#include "base/NArrays.h"
#include "scene/FaceData.h"
#include "scene/StopFlag.h"

namespace rt {

class Scene;

/// Who says what a ray meets: the kd-tree, or a test of each face for itself, which lets no ray through a closed mesh
/// and needs no tree (docs/queries.md).
enum class RayKind { TREE, WATERTIGHT };

/// Answers ray queries about a scene, whole streams of rays at once. Where the kd-tree defines the answers, a kernel
/// for this machine finds hits in a BVH and confirms them; the few rays that it leaves open walk the kd-tree. After
/// build() all const operations are thread-safe.
class RayQueries {
 public:
    RayKind eKind = RayKind::TREE;  // set it before build()
    unsigned uThreads = 1;          // that build; PreparedScene reads with them, too
    bool bScattered = false;        // streams may hold rays that have nothing in common; set it before asking
    StopFlag pStop = nullptr;       // ends build(), which then fails
    KDTree kdTree;                  // empty for watertight rays
    const RayKernel* pKernel = &bestKernel();  // answers the stream queries of the tree

    RayQueries() = default;
    RayQueries(const RayQueries&) = delete;
    RayQueries& operator=(const RayQueries&) = delete;

    /// Loads or builds the kd-tree of a preprocessed scene, which must outlive it, and the BVH, for rays whose origins
    /// mostly have no larger coordinate than fFarthestOrigin (0: not known); or the boxes of watertight rays alone.
    /// Frees what was built before. True when out of memory, which is logged; everything is empty then.
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

    /// What else can be asked of watertight rays: null for the tree's, and before build().
    const WatertightQueries* watertightQueries() const {
        return eKind == RayKind::WATERTIGHT && watertight.bytes() ? &watertight : nullptr;
    }

    /// Bytes of the BVH and the lists, or of the watertight boxes, without the kd-tree.
    size_t bytes() const;

 private:
    bool prepare(float fFarthestOrigin);
    bool prepareWatertight(const Scene& scene);
    TraversalData traversalData() const;

    Bvh bvh;                               // over the same faces, faster to search
    Velk::NAlignedArray<uint32_t> vLists;  // the leaves' lists as the packet kernels read them
    WatertightQueries watertight;
};

}  // namespace rt
