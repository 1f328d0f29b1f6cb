#pragma once

#include <cstdint>
#include <vector>

#include "accel/KDTree.h"
#include "base/Vectors.h"

/// Builds a kd-tree by a surface-area-heuristic search (MacDonald and Booth 1990) over the vertex coordinates of the
/// faces on each node's longest axis.
class PlainKDTreeBuilder {
 public:
    PlainKDTreeBuilder(KDTree& target, Velk::NDataVector<KDTreeNode>& targetNodes) : tree(target), nodes(targetNodes) {}

    /// Fills the nodes (index form) and the tree's face lists. True when there is not enough memory.
    [[nodiscard]] bool build();

 private:
    struct SplitCandidate {
        float fPos;
        uint32_t uLeft;   // faces on the low side
        uint32_t uRight;  // faces on the high side
    };
    struct NodeFaces;

    bool subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount);
    void collectFaces(uint32_t uNode, unsigned uAxis, const Velk::BoxAABB& box, NodeFaces& faces) const;
    void countFaces(const NodeFaces& faces, unsigned uAxis, const Velk::BoxAABB& box,
                    std::vector<SplitCandidate>& vCandidates) const;

    KDTree& tree;
    Velk::NDataVector<KDTreeNode>& nodes;
};
