#pragma once

#include <cstdint>

#include "accel/KDTreeNode.h"
#include "base/NArrays.h"

namespace rt {

/// The face lists of all leaves of a kd-tree in one array: chains of entries, and a chain of free ones while the tree
/// is built.
struct FaceLists {
    Velk::NAlignedDataVector<FacesListNode> vFacesList;
    uint32_t uFreeListHead = NO_INDEX;

    /// Index of a free entry of vFacesList whose next is NO_INDEX, NO_INDEX when out of memory.
    uint32_t getNewObjectListNode();

    /// Puts the list that starts at entry uFirst in front of the free entries. Returns the index of its last entry.
    uint32_t freeObjectListNodes(uint32_t uFirst);
};

}  // namespace rt
