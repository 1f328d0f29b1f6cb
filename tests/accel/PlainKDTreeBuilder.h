#pragma once

#include <cstdint>

#include "accel/FaceLists.h"
#include "base/NDataVector.h"
#include "scene/Scene.h"

/// Builds a kd-tree by a surface-area-heuristic search (MacDonald and Booth 1990) over the vertex coordinates of the
/// faces on each node's longest axis.
class PlainKDTreeBuilder {
 public:
    PlainKDTreeBuilder(const Scene& source, FaceLists& targetLists, Velk::NDataVector<KDTreeNode>& targetNodes)
        : scene(source), lists(targetLists), nodes(targetNodes) {}

    /// Fills the nodes (index form) and the tree's face lists. True when there is not enough memory.
    [[nodiscard]] bool build();

 private:
    bool subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount);

    const Scene& scene;
    FaceLists& lists;
    Velk::NDataVector<KDTreeNode>& nodes;
};
