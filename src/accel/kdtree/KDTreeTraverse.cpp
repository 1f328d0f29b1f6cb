// Walks the kd-tree with a single ray. This defines every answer: RayQueries uses it for open lanes, and tests use it
// as the reference.
#include <limits>

#include "accel/kdtree/KDTree.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

// Clips the ray to the scene's box by the slab method and sets up the two ends of the stack. True when the ray misses
// the box.
bool KDTree::clip(const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxDist, StackEntry* vStack) const {
    const Velk::BoxAABB& box = pScene->boxScene;
    for (unsigned a = 0; a < 3; ++a) {
        if (v3Dir[a] < 0.0f ? v3Origin[a] < box.v3Min[a] : v3Origin[a] > box.v3Max[a]) return true;
    }
    float fEntry = 0.0f, fExit = fMaxDist;
    for (unsigned a = 0; a < 3; ++a) {
        const bool bNegative = v3Dir[a] < 0.0f;
        const float fNear = bNegative ? box.v3Max[a] : box.v3Min[a];
        const float fFar = bNegative ? box.v3Min[a] : box.v3Max[a];
        const float fEnd = v3Origin[a] + v3Dir[a] * fExit;
        if (bNegative ? fEnd < fFar : fEnd > fFar) fExit = fExit * ((fFar - v3Origin[a]) / (fEnd - v3Origin[a]));
        if (bNegative ? v3Origin[a] > fNear : v3Origin[a] < fNear) {
            const float t = (fNear - v3Origin[a]) / v3Dir[a];
            if (t > fEntry) fEntry = t;
        }
        if (fEntry > fExit) return true;
    }
    vStack[0] = {nullptr, fEntry, fEntry > 0.0f ? v3Origin + v3Dir * fEntry : v3Origin, 0};
    vStack[1] = {nullptr, fExit, v3Origin + v3Dir * fExit, 0};
    return false;
}

// Walks the leaves along the segment between stack entries 0 and 1, front to back, after Havran's recursive traversal
// (2000): each stack entry is the point where the ray crosses a split plane. visitLeaf(leaf, exit t) ends the walk by
// returning true.
template <typename VisitLeaf>
bool KDTree::traverse(const NMVector3f& v3Origin, const NMVector3f& v3Dir, StackEntry* vStack,
                      const VisitLeaf& visitLeaf) const {
    uint32_t enPt = 0, exPt = 1;
    for (const KDTreeNode* pNode = pRoot; pNode;) {
        while (!pNode->isLeaf()) {
            const unsigned a = pNode->axis();
            const float s = pNode->fSplit, e = vStack[enPt].v3Point[a], x = vStack[exPt].v3Point[a];
            const KDTreeNode* pLow = vNodes.pData + pNode->child();
            if (e <= s) {
                pNode = pLow;
                if (x < s) continue;
                if (x == s) {
                    pNode = pLow + 1;
                    continue;
                }
            } else {
                pNode = pLow + 1;
                if (x > s) continue;
            }
            const KDTreeNode* pFar = pNode == pLow ? pLow + 1 : pLow;
            const float t = (s - v3Origin[a]) / v3Dir[a];
            const uint32_t uPrev = exPt++;
            if (exPt == enPt) ++exPt;
            vStack[exPt] = {pFar, t, v3Origin + v3Dir * t, uPrev};
            vStack[exPt].v3Point[a] = s;
        }
        if (pNode->hasReference() && visitLeaf(*pNode, vStack[exPt].fT)) return true;
        enPt = exPt;
        pNode = vStack[exPt].pNode;
        exPt = vStack[enPt].uPrev;
    }
    return false;
}

const FaceData* KDTree::findNearestFace(const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxDist,
                                        RayTestOutput* pOut) const {
    alignas(TREE_ALIGNMENT) StackEntry vStack[STACK_SIZE];
    if (!pRoot || clip(v3Origin, v3Dir, fMaxDist, vStack)) return nullptr;
    const FaceData* pNearest = nullptr;
    // A hit beyond the leaf's exit is left to the leaf that it lies in. So the first leaf with a hit has the nearest
    // one.
    traverse(v3Origin, v3Dir, vStack, [&](const KDTreeNode& leaf, float fExit) {
        float fBound = fExit;
        for (uint32_t u = leaf.list(); u != NO_INDEX; u = vFacesList[u].next) {
            const FaceData* pFace = &pScene->vFaces[vFacesList[u].uFace];
            RayTestOutput hit;
            if (!pScene->testTriangle(pFace, v3Origin, v3Dir, fBound, &hit)) continue;
            *pOut = hit;
            fBound = hit.fT;
            pNearest = pFace;
        }
        return pNearest != nullptr;
    });
    return pNearest;
}

bool KDTree::findObstacle(const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxDist) const {
    if (!pRoot) return false;
    alignas(TREE_ALIGNMENT) StackEntry vStack[STACK_SIZE];
    vStack[0] = {nullptr, 0.0f, v3Origin, 0};
    vStack[1] = {nullptr, fMaxDist, v3Origin + v3Dir * fMaxDist, 0};
    return traverse(v3Origin, v3Dir, vStack, [&](const KDTreeNode& leaf, float) {
        for (uint32_t u = leaf.list(); u != NO_INDEX; u = vFacesList[u].next) {
            RayTestOutput hit;
            if (pScene->testTriangle(&pScene->vFaces[vFacesList[u].uFace], v3Origin, v3Dir, fMaxDist, &hit))
                return true;
        }
        return false;
    });
}

}  // namespace rt
