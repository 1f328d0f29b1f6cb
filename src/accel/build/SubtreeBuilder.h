#pragma once

#include <cstdint>

#include "accel/build/GrowingTree.h"
#include "accel/build/KDTreeSplitSearch.h"
#include "base/Vectors.h"

namespace rt {

/// Splits the nodes of a kd-tree one after the other, on one thread: the low child with all below it, then the high
/// child.
class SubtreeBuilder {
 public:
    /// The search needs room for the faces of the largest node.
    SubtreeBuilder(KDTreeSplitSearch& itsSearch, const GrowingTree& itsTree) : search(itsSearch), tree(itsTree) {}

    /// Splits a leaf of uFaceCount > 0 faces, in this box and at this depth, and what comes of it. True when there is
    /// not enough memory.
    [[nodiscard]] bool subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount);

 private:
    bool distribute(const SplitFrame& frame, float fPos, uint32_t uFaceCount, GrowingTree::List (&children)[2]);

    KDTreeSplitSearch& search;
    GrowingTree tree;
};

}  // namespace rt
