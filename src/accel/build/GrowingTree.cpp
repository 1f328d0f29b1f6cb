// Nodes and face lists while they are made.
#include "accel/build/GrowingTree.h"

#include <algorithm>

namespace rt {

namespace {

constexpr uint32_t LIST_ALIGNMENT = 32;
constexpr uint64_t ENTRIES_PER_FACE = 6;  // in the first allocation; untouched entries take no memory

uint32_t entriesFor(uint32_t uFaces) {
    return static_cast<uint32_t>(std::min<uint64_t>(ENTRIES_PER_FACE * uFaces + 4, KDTreeNode::MAX_INDEX));
}

uint32_t nodesFor(uint32_t uFaces) {
    return uFaces / 2 + 4;
}

}  // namespace

uint64_t GrowingTree::bytesFor(uint32_t uFaces) {
    return entriesFor(uFaces) * sizeof(FacesListNode) + nodesFor(uFaces) * sizeof(KDTreeNode);
}

bool GrowingTree::create(const uint32_t* pFaces, uint32_t uFaces) {
    if (lists.vFacesList.create(entriesFor(uFaces), 0, LIST_ALIGNMENT) || nodes.create(nodesFor(uFaces), 0)) {
        return true;
    }
    for (uint32_t u = 0; u < uFaces; ++u) {
        lists.vFacesList.PushBack({pFaces[u], u + 1 < uFaces ? u + 1 : NO_INDEX});
    }
    KDTreeNode root;
    if (uFaces) root.setList(0);
    nodes.PushBack(root);
    return false;
}

bool GrowingTree::split(uint32_t uNode, uint32_t uLast, unsigned uAxis, float fPos, const List (&children)[2]) {
    // freeObjectListNodes() would search for the last entry, which is known here.
    lists.vFacesList[uLast].next = lists.uFreeListHead;
    lists.uFreeListHead = nodes[uNode].index();
    nodes[uNode].makeInterior(nodes.uSize, uAxis);
    nodes[uNode].fSplit = fPos;
    for (const List& list : children) {
        KDTreeNode child;
        if (list.uHead != NO_INDEX) child.setList(list.uHead);
        if (append(child)) return true;
    }
    return false;
}

}  // namespace rt
