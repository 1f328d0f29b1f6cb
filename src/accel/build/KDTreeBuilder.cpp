// Builds the tree recursively: splits a node and distributes its faces to the children.
#include "accel/build/KDTreeBuilder.h"

#include <algorithm>

#include "scene/Scene.h"

namespace rt {

using Velk::BoxAABB;

namespace {

constexpr uint32_t SMALL_LEAF = 2;  // nodes of so few faces are not split
constexpr uint32_t LIST_ALIGNMENT = 32;
constexpr uint64_t ENTRIES_PER_FACE = 6;  // in the first allocation; untouched entries take no memory

uint32_t initialEntries(uint32_t uFaces) {
    return static_cast<uint32_t>(std::min<uint64_t>(ENTRIES_PER_FACE * uFaces + 4, KDTreeNode::MAX_INDEX));
}

}  // namespace

uint64_t KDTreeBuilder::bytesToBegin(uint32_t uFaces) {
    return KDTreeSplitSearch::bytesFor(uFaces) + initialEntries(uFaces) * sizeof(FacesListNode) +
           (uFaces / 2 + 4) * sizeof(KDTreeNode);
}

bool KDTreeBuilder::build() {
    const uint32_t uFaces = scene.vFaces.uCount, uEntries = initialEntries(uFaces);
    if (lists.vFacesList.create(uEntries, 0, LIST_ALIGNMENT) || nodes.create(uFaces / 2 + 4, 0)) return true;
    for (uint32_t u = 0; u < uFaces; ++u) lists.vFacesList.PushBack({u, u + 1 < uFaces ? u + 1 : NO_INDEX});
    KDTreeNode root;
    if (uFaces) root.setList(0);
    nodes.PushBack(root);
    return uFaces > 0 && (search.create(scene) || subdivide(0, scene.boxScene, 0, uFaces));
}

bool KDTreeBuilder::subdivide(uint32_t uNode, const BoxAABB& box, unsigned uDepth, uint32_t uFaceCount) {
    const SplitFrame frame(box);
    nodes[uNode].setAxis(frame.uAxis);
    uint32_t* pFaces = search.faces();
    const uint32_t uFirst = nodes[uNode].index();
    uint32_t uLast = uFirst;
    for (uint32_t u = uFirst; u != NO_INDEX; u = lists.vFacesList[u].next) {
        *pFaces++ = lists.vFacesList[u].uFace;
        uLast = u;
    }
    Split split;
    if (search.find(frame, uFaceCount, uDepth > 0, split)) return true;
    if (!(split.fCost <= static_cast<float>(uFaceCount))) return false;

    ChildList children[2];
    if (distribute(frame, split.fPos, uFaceCount, children)) return true;
    // Frees the node's list. freeObjectListNodes() would search for the last entry, which is known here.
    lists.vFacesList[uLast].next = lists.uFreeListHead;
    lists.uFreeListHead = uFirst;
    const uint32_t uChild = nodes.uSize;
    nodes[uNode].makeInterior(uChild, frame.uAxis);
    nodes[uNode].fSplit = split.fPos;
    if (addChildren(children)) return true;
    if (uDepth >= KDTreeNode::MAX_DEPTH) return false;
    const BoxAABB parts[2] = {frame.lowPart(split.fPos), frame.highPart(split.fPos)};
    for (unsigned k = 0; k < 2; ++k) {
        if (children[k].uCount > SMALL_LEAF && subdivide(uChild + k, parts[k], uDepth + 1, children[k].uCount))
            return true;
    }
    return false;
}

bool KDTreeBuilder::distribute(const SplitFrame& frame, float fPos, uint32_t uFaceCount, ChildList (&children)[2]) {
    const uint32_t* pFaces = search.faces();
    for (uint32_t u = 0; u < uFaceCount; ++u) {
        if (search.isLow(frame, u, fPos) && add(children[0], pFaces[u])) return true;
        if (search.isHigh(frame, u, fPos) && add(children[1], pFaces[u])) return true;
    }
    return false;
}

bool KDTreeBuilder::add(ChildList& list, uint32_t uFace) {
    uint32_t uEntry = lists.uFreeListHead;
    if (uEntry != NO_INDEX) {
        lists.uFreeListHead = lists.vFacesList[uEntry].next;
    } else {
        lists.vFacesList.uGrowBy = lists.vFacesList.uCapacity / 2 + 4;
        uEntry = lists.getNewObjectListNode();
        if (uEntry == NO_INDEX) return true;
    }
    lists.vFacesList[uEntry] = {uFace, list.uHead};
    list.uHead = uEntry;
    ++list.uCount;
    return false;
}

bool KDTreeBuilder::addChildren(const ChildList (&children)[2]) {
    nodes.uGrowBy = nodes.uCapacity / 2 + 4;
    for (const ChildList& list : children) {
        KDTreeNode child;
        if (list.uHead != NO_INDEX) child.setList(list.uHead);
        if (nodes.PushBack(child)) return true;
    }
    return false;
}

}  // namespace rt
