#pragma once

#include <cstdint>

#include "accel/KDTree.h"

/// Builds a kd-tree by a surface-area-heuristic search (MacDonald and Booth 1990) over the vertex coordinates of the
/// faces on each node's longest axis.
class PlainKDTreeBuilder {
 public:
    PlainKDTreeBuilder(KDTree& target, Velk::NDataVector<KDTreeNode>& targetNodes) : tree(target), nodes(targetNodes) {}

    /// Fills the nodes (index form) and the tree's face lists. True when there is not enough memory.
    [[nodiscard]] bool build();

 private:
    bool subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount);

    KDTree& tree;
    Velk::NDataVector<KDTreeNode>& nodes;
};
