#pragma once

#include <cstdint>

#include "accel/watertight/FaceTest.h"
#include "base/NArrays.h"
#include "scene/StopFlag.h"

namespace rt {

/// Up to eight boxes and what they hold. An empty place has a box inside out and a leaf of no faces, which is harmless
/// where rounding lets a ray into it.
struct alignas(32) WatertightNode {
    static constexpr unsigned WIDTH = 8;
    static constexpr uint32_t LEAF = 0x80000000u;
    static constexpr unsigned COUNT_SHIFT = 28;
    static constexpr uint32_t FIRST_MASK = (1u << COUNT_SHIFT) - 1;

    float fMin[3][WIDTH];  // by axis and child
    float fMax[3][WIDTH];
    uint32_t uChild[WIDTH];  // a node's index; or LEAF, the number of faces from bit 28 on, and the first face's record
};
static_assert(sizeof(WatertightNode) == 224, "three and a half cache lines");

/// A hierarchy of boxes over faces. The boxes hold the faces' corners and nothing else: each ray brings a margin for
/// what rounding does to it.
class WatertightBvh {
 public:
    static constexpr float FARTHEST_CORNER = 0x1p60f;  // more than 1e18
    static constexpr uint32_t MAX_FACES = WatertightNode::FIRST_MASK;
    static constexpr uint32_t MAX_LEAF = 5;
    static constexpr unsigned STACK_SIZE = 384;  // seven children of each level wait: 24 levels and 29 of halves

    Velk::NAlignedArray<WatertightNode> vNodes;  // the root first
    Velk::NAlignedArray<WatertightFace> vFaces;  // in the order of the leaves; one more is readable
    float fReach[3] = {};                        // largest coordinate on each axis
    float fCentre[3] = {}, fHalf[3] = {};        // of the box around all faces

    WatertightBvh() = default;
    ~WatertightBvh() { release(); }
    WatertightBvh(const WatertightBvh&) = delete;
    WatertightBvh& operator=(const WatertightBvh&) = delete;

    /// Builds the hierarchy over uFaces triangles with uThreads threads. pPositions holds three floats a vertex,
    /// pIndices three vertices a face. Faces with a coordinate that is not within FARTHEST_CORNER are left out. True
    /// when stopped, without memory, with too many faces or with an index that is not below uVertices; all is empty
    /// then.
    [[nodiscard]] bool build(const float* pPositions, uint32_t uVertices, const uint32_t* pIndices, uint32_t uFaces,
                             unsigned uThreads, StopFlag pStop = nullptr);

    void release();
};

}  // namespace rt
