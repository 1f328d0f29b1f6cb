// Loads or builds the tree, links its nodes and releases it.
#include "accel/kdtree/KDTree.h"

#include <cassert>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "accel/CacheFile.h"
#include "accel/build/KDTreeBuilder.h"
#include "base/InputReport.h"
#include "base/Progress.h"
#include "scene/Scene.h"

namespace rt {

bool KDTree::buildTree(const Scene* pNewScene, bool bResetCache, unsigned uThreads) {
    release();
    pScene = pNewScene;
    Velk::NDataVector<KDTreeNode> nodes;
    const bool bFailed = makeNodes(bResetCache, uThreads, nodes) || link(nodes);
    if (bFailed) {
        if (!isStopped(pStop))
            Velk::memoryError(KDTreeBuilder::bytesToBegin(pScene->vFaces.uCount), "the kdtree of %u faces, at least",
                              pScene->vFaces.uCount);
        release();
        return true;
    }
    if (bUnsaved) vUnsaved = std::move(nodes);
    return false;
}

int KDTree::saveCache() {
    if (!bUnsaved) return 0;
    bUnsaved = false;
    const int iResult = saveTree(sCacheFile.c_str(), vUnsaved);
    vUnsaved.Release();
    return iResult;
}

// Reads the nodes from the cache file or builds and saves them, in index form.
bool KDTree::makeNodes(bool bResetCache, unsigned uThreads, Velk::NDataVector<KDTreeNode>& nodes) {
    const bool bCached = !sCacheFile.empty();  // no progress is reported without a cache file
    if (bCached) Velk::printProgress("Loading kdtree from file...");
    if (!bResetCache && bCached && loadTree(sCacheFile.c_str(), &nodes)) {
        Velk::printProgress(" OK\n");
        warnIfOutdated(sCacheFile.c_str(), *pScene);  // after the progress line, which must stay in one piece
        return false;
    }
    if (bCached) Velk::printProgress("%s\nBuilding kdtree...\n", bResetCache ? " RESET" : " FAILED");
    // On the heap: half a megabyte may be too much for the stack.
    std::unique_ptr<KDTreeBuilder> pBuilder(new (std::nothrow) KDTreeBuilder(*pScene, *this, nodes));
    if (!pBuilder || pBuilder->build(uThreads, pStop)) return true;
    pBuilder.reset();
    bUnsaved = bCached && bSaveLater;
    if (bCached && !bSaveLater) saveTree(sCacheFile.c_str(), nodes);
    return false;
}

bool KDTree::link(const Velk::NDataVector<KDTreeNode>& nodes) {
    if (vNodes.allocate(nodes.uSize, TREE_ALIGNMENT)) return true;
    assert(nodes.uSize > 0);  // an empty scene has a root, too
    for (uint32_t u = 0; u < nodes.uSize; ++u) {
        vNodes[u] = nodes[u];
        vNodes[u].link();
    }
    pRoot = vNodes.pData;
    return false;
}

void KDTree::release() {
    vNodes.Release();
    vFacesList.Release();
    vUnsaved.Release();
    bUnsaved = false;
    pRoot = nullptr;
    uFreeListHead = NO_INDEX;
}

}  // namespace rt
