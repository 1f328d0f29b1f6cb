#pragma once

#include <cstdint>

#include "accel/FaceLists.h"
#include "accel/build/KDTreeSplitSearch.h"
#include "base/Vectors.h"

namespace rt {

/// Builds a kd-tree (see docs/building.md) by a surface-area-heuristic search (MacDonald and Booth 1990) over the
/// vertex coordinates of the faces on each node's longest axis.
class KDTreeBuilder {
 public:
    /// The lists and nodes must be empty; all three must outlive the builder.
    KDTreeBuilder(const Scene& source, FaceLists& targetLists, Velk::NDataVector<KDTreeNode>& targetNodes)
        : scene(source), lists(targetLists), nodes(targetNodes) {}

    /// Fills the nodes (index form) and the face lists. True when there is not enough memory.
    [[nodiscard]] bool build();

    /// The least memory that a build takes, in bytes.
    static uint64_t bytesToBegin(uint32_t uFaces);

 private:
    /// A face list under construction; faces are added at the front.
    struct ChildList {
        uint32_t uHead = NO_INDEX;
        uint32_t uCount = 0;
    };

    bool subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount);
    bool distribute(const SplitFrame& frame, float fPos, uint32_t uFaceCount, ChildList (&children)[2]);
    bool add(ChildList& list, uint32_t uFace);
    bool addChildren(const ChildList (&children)[2]);

    const Scene& scene;
    FaceLists& lists;
    Velk::NDataVector<KDTreeNode>& nodes;
    KDTreeSplitSearch search;
};

}  // namespace rt
