#pragma once

#include <cstdint>

#include "accel/FaceLists.h"
#include "accel/KDTreeNode.h"
#include "base/NArrays.h"

namespace rt {

/// A kd-tree under construction, in memory of the caller: the nodes, in index form, and the face lists. Where a list's
/// entries lie depends on which ones are free by then, so the order of the calls decides about the bytes.
struct GrowingTree {
    /// A face list under construction; faces are added at the front.
    struct List {
        uint32_t uHead = NO_INDEX;
        uint32_t uCount = 0;
    };

    static constexpr uint32_t SMALL_LEAF = 2;  // nodes of so few faces are not split

    FaceLists& lists;
    Velk::NDataVector<KDTreeNode>& nodes;

    /// Fills an empty tree with a leaf that holds these faces, in this order. True when out of memory, like all others.
    [[nodiscard]] bool create(const uint32_t* pFaces, uint32_t uFaces);

    /// Memory that create() takes, in bytes, most of it untouched.
    static uint64_t bytesFor(uint32_t uFaces);

    /// The index of an entry that was free or is new, NO_INDEX when out of memory.
    uint32_t takeEntry() {
        const uint32_t uEntry = lists.uFreeListHead;
        if (uEntry == NO_INDEX) {
            lists.vFacesList.uGrowBy = lists.vFacesList.uCapacity / 2 + 4;
            return lists.getNewObjectListNode();
        }
        lists.uFreeListHead = lists.vFacesList[uEntry].next;
        return uEntry;
    }

    [[nodiscard]] bool add(List& list, uint32_t uFace) {
        const uint32_t uEntry = takeEntry();
        if (uEntry == NO_INDEX) return true;
        lists.vFacesList[uEntry] = {uFace, list.uHead};
        list.uHead = uEntry;
        ++list.uCount;
        return false;
    }

    /// Adds a node behind all others.
    [[nodiscard]] bool append(const KDTreeNode& node) {
        nodes.uGrowBy = nodes.uCapacity / 2 + 4;
        return nodes.PushBack(node);
    }

    /// Frees the leaf's list, whose last entry is uLast, and splits the leaf into two new nodes behind all others.
    [[nodiscard]] bool split(uint32_t uNode, uint32_t uLast, unsigned uAxis, float fPos, const List (&children)[2]);
};

}  // namespace rt
