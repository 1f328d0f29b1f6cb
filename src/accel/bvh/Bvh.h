#pragma once

#include <cstdint>

#include "accel/bvh/FaceRecord.h"
#include "base/NArrays.h"

namespace rt {

class Scene;

/// Up to four boxes and what they hold: further nodes, or leaves of some records.
struct alignas(64) BvhNode {
    float fMin[3][4];  // by axis and child
    float fMax[3][4];
    uint32_t uChild[4];  // index of a node, or of a leaf's first record
    uint8_t uCount[4];   // records of a leaf, 0 for a node
    uint8_t uUsed;       // bit i: child i is there; the box of one that is not is undefined
};
static_assert(sizeof(BvhNode) == 128, "two cache lines");

/// A BVH with four children to a node over all sound faces, each face once. It finds hits that the kd-tree then
/// confirms, and holds the records that the kernels test. It has no cache file: building it takes far less time than
/// the kd-tree.
class Bvh {
 public:
    static constexpr uint32_t MAX_LEAF = 4;        // records in a leaf
    static constexpr unsigned MAX_SAH_DEPTH = 24;  // below, faces are divided into halves
    static constexpr unsigned STACK_SIZE = 192;  // three children wait on each of 24 levels, and of 29 more by halving

    Velk::NAlignedArray<BvhNode> vNodes;       // the root first
    Velk::NAlignedArray<FaceRecord> vRecords;  // in the order of the leaves
    float fOriginLimit = 0.0f;                 // see FaceBounds
    float fReach = 0.0f;
    bool bNeedles = false;  // the boxes only hold for rays that end within the limit

    Bvh() = default;
    Bvh(const Bvh&) = delete;
    Bvh& operator=(const Bvh&) = delete;

    /// Builds the hierarchy over a preprocessed scene. fFarthestOrigin as for FaceBounds. pRecordOf has room for one
    /// index a face and takes each face's record, NO_INDEX for an unsound one. True without memory.
    [[nodiscard]] bool build(const Scene& scene, float fFarthestOrigin, uint32_t* pRecordOf);

    void release();
};

}  // namespace rt
