#pragma once

#include <cstdint>

#include "accel/build/GrowingTree.h"
#include "accel/build/KDTreeSplitSearch.h"

namespace rt {

/// Builds a kd-tree (see docs/building.md) by a surface-area-heuristic search (MacDonald and Booth 1990) over the
/// vertex coordinates of the faces on each node's longest axis.
class KDTreeBuilder {
 public:
    /// The lists and nodes must be empty; all three must outlive the builder.
    KDTreeBuilder(const Scene& source, FaceLists& lists, Velk::NDataVector<KDTreeNode>& nodes)
        : scene(source), tree{lists, nodes} {}

    /// Fills the nodes (index form) and the face lists with uThreads threads, whose number changes no byte. True when
    /// there is not enough memory, or when stopped.
    [[nodiscard]] bool build(unsigned uThreads = 1, StopFlag pStop = nullptr);

    /// The least memory that a build takes, in bytes.
    static uint64_t bytesToBegin(uint32_t uFaces);

 private:
    const Scene& scene;
    GrowingTree tree;
    KDTreeSplitSearch search;
};

}  // namespace rt
