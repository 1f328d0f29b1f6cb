#pragma once

#include <cstdint>

#include "accel/KDTreeNode.h"
#include "base/NArrays.h"
#include "base/Vectors.h"

using namespace rt;

/// The figures that explain a tree's speed.
struct TreeStats {
    uint32_t uNodes = 0;
    uint32_t uLeaves = 0;  // that hold faces
    uint32_t uEmptyLeaves = 0;
    uint32_t uDepth = 0;   // of the deepest node, the root's is 0
    uint32_t uMedian = 0;  // faces in a leaf that holds any
    uint32_t uNinetieth = 0;
    uint32_t uLargest = 0;
    uint32_t uReferences = 0;  // faces in all leaves
    double dCost = 0.0;        // expected cost of a ray that meets the root's box, in face tests
    uint64_t uBytes = 0;       // of nodes, face lists and what the kernels add

    /// Measures a tree given by nodes in index form, over the scene's box.
    TreeStats(const Velk::NDataVector<KDTreeNode>& nodes, const Velk::NAlignedDataVector<FacesListNode>& vList,
              const Velk::BoxAABB& box);
    TreeStats() = default;
};
