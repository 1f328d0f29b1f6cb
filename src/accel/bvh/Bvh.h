#pragma once

#include <cstdint>

#include "accel/bvh/FaceRecord.h"
#include "base/NArrays.h"
#include "scene/StopFlag.h"

namespace rt {

class Scene;

/// A node of up to four boxes, each of which holds another node or a leaf.
struct alignas(64) BvhNode {
    float fMin[3][4];  // by axis and child
    float fMax[3][4];
    uint32_t uChild[4];  // index of a node, or of a leaf's first record
    uint8_t uCount[4];   // records of a leaf, 0 for a node
    uint8_t uUsed;       // bit i: child i exists; the boxes of others are undefined
};
static_assert(sizeof(BvhNode) == 128, "two cache lines");

/// A four-wide BVH over all sound faces, each face once. It finds hits that the kd-tree then confirms, and holds the
/// records that the kernels test. It has no cache file: building it takes far less time than the kd-tree.
class Bvh {
 public:
    static constexpr uint32_t MAX_LEAF = 4;      // records in a leaf
    static constexpr unsigned STACK_SIZE = 192;  // three entries for each of 24 levels, and of 29 of halves

    Velk::NAlignedArray<BvhNode> vNodes;       // the root first
    Velk::NAlignedArray<FaceRecord> vRecords;  // in the order of the leaves
    float fOriginLimit = 0.0f;                 // see FaceBounds
    float fReach = 0.0f;
    bool bNeedles = false;  // the boxes are valid only for rays that end within the limit

    Bvh() = default;
    Bvh(const Bvh&) = delete;
    Bvh& operator=(const Bvh&) = delete;

    /// Builds the BVH over a preprocessed scene. fFarthestOrigin as for FaceBounds. pRecordOf receives the index of
    /// each face's record, NO_INDEX for an unsound face. True when out of memory.
    [[nodiscard]] bool build(const Scene& scene, float fFarthestOrigin, uint32_t* pRecordOf, StopFlag pStop = nullptr);

    void release();
};

}  // namespace rt
