#include "accel/KDTree.h"

#include <cstdio>

#include "accel/KDTreeBuilder.h"
#include "base/NLogger.h"
#include "scene/Scene.h"

namespace {

constexpr uint32_t TREE_ALIGNMENT = 32;
constexpr char CACHE_FILE[] = "kdtree.tmp";

}  // namespace

bool KDTree::buildTree(const Scene* pNewScene, bool bResetCache) {
    pScene = pNewScene;
    uFreeListHead = NO_INDEX;
    printf("Loading kdtree from file...");
    Velk::NDataVector<KDTreeNode> nodes;
    const bool bFailed = makeNodes(bResetCache, nodes) || link(nodes) || prepareQueries();
    nodes.Release();
    if (bFailed) {
        ReportError("Not enough memory for the kdtree");
        release();
    }
    return bFailed;
}

// Reads the nodes from the cache file or builds and saves them, in index form.
bool KDTree::makeNodes(bool bResetCache, Velk::NDataVector<KDTreeNode>& nodes) {
    if (!bResetCache && loadTree(CACHE_FILE, &nodes)) {
        printf(" OK\n");
        return false;
    }
    printf(bResetCache ? " RESET\n" : " FAILED\n");
    printf("Building kdtree...\n");
    if (KDTreeBuilder(*this, nodes).build()) return true;
    saveTree(CACHE_FILE, nodes);
    return false;
}

bool KDTree::link(const Velk::NDataVector<KDTreeNode>& nodes) {
    if (vNodes.allocate(nodes.uSize, TREE_ALIGNMENT) || vStack.allocate(STACK_SIZE, TREE_ALIGNMENT)) return true;
    for (uint32_t u = 0; u < nodes.uSize; ++u) {
        vNodes[u] = nodes[u];
        vNodes[u].link();
    }
    pRoot = vNodes.pData;
    return false;
}

void KDTree::release() {
    vNodes.Release();
    vStack.Release();
    vFacesList.Release();
    bvh.release();
    vLists.Release();
    pRoot = nullptr;
    uFreeListHead = NO_INDEX;
}

uint32_t KDTree::getNewObjectListNode() {
    if (uFreeListHead == NO_INDEX) {
        if (vFacesList.PushBack({0, NO_INDEX})) return NO_INDEX;
        return vFacesList.uSize - 1;
    }
    const uint32_t uEntry = uFreeListHead;
    uFreeListHead = vFacesList[uEntry].next;
    vFacesList[uEntry].next = NO_INDEX;
    return uEntry;
}

uint32_t KDTree::freeObjectListNodes(uint32_t uFirst) {
    uint32_t uLast = uFirst;
    while (vFacesList[uLast].next != NO_INDEX) uLast = vFacesList[uLast].next;
    vFacesList[uLast].next = uFreeListHead;
    uFreeListHead = uFirst;
    return uLast;
}
