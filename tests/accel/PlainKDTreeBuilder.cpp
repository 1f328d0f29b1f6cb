// A kd-tree builder that tests every face against every candidate.
#include "accel/PlainKDTreeBuilder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "accel/build/KDTreeBuilder.h"

using namespace rt;

using Velk::BoxAABB;
using Velk::NMVector3f;

namespace {

constexpr uint32_t SMALL_LEAF = 2;  // faces that are never split further
constexpr uint32_t LIST_ALIGNMENT = 32;

bool reaches(const FaceData& face, const BoxAABB& part, unsigned uAxis) {
    const auto [fMin, fMax] =
        std::minmax({face.pA->v3Position[uAxis], face.pB->v3Position[uAxis], face.pC->v3Position[uAxis]});
    return fMin <= part.v3Max[uAxis] && part.v3Min[uAxis] <= fMax;
}

bool overlaps(const FaceData& face, const BoxAABB& part) {
    const NMVector3f corners[] = {face.pA->v3Position, face.pB->v3Position, face.pC->v3Position};
    return SplitFrame::overlaps(corners, part);
}

struct Tree {
    FaceLists lists;
    Velk::NDataVector<KDTreeNode> nodes;
};

void subdivide(const Scene& scene, Tree& tree, uint32_t uNode, const BoxAABB& box, unsigned uDepth) {
    const SplitFrame frame(box);
    auto& [lists, nodes] = tree;
    nodes[uNode].setAxis(frame.uAxis);
    std::vector<const FaceData*> vFaces;  // in list order
    for (uint32_t u = nodes[uNode].index(); u != NO_INDEX; u = lists.vFacesList[u].next) {
        vFaces.push_back(&scene.vFaces[lists.vFacesList[u].uFace]);
    }
    const Split split = plainSplit(frame, vFaces);
    if (static_cast<float>(vFaces.size()) < split.fCost) return;

    const BoxAABB parts[] = {frame.lowPart(split.fPos), frame.highPart(split.fPos)};
    uint32_t uHeads[2] = {NO_INDEX, NO_INDEX}, uCounts[2] = {};
    for (const FaceData* pFace : vFaces) {
        for (const unsigned i : {0u, 1u}) {
            if (!reaches(*pFace, parts[i], frame.uAxis) || !overlaps(*pFace, parts[i])) continue;
            const uint32_t uEntry = lists.getNewObjectListNode();
            lists.vFacesList[uEntry] = {static_cast<uint32_t>(pFace - scene.vFaces.pData), uHeads[i]};
            uHeads[i] = uEntry;
            ++uCounts[i];
        }
    }
    lists.freeObjectListNodes(nodes[uNode].index());

    const uint32_t uChild = nodes.uSize;
    nodes[uNode].makeInterior(uChild, frame.uAxis);
    nodes[uNode].fSplit = split.fPos;
    for (const uint32_t uHead : uHeads) {
        KDTreeNode child;
        if (uHead != NO_INDEX) child.setList(uHead);
        nodes.PushBack(child);
    }
    for (const unsigned i : {0u, 1u}) {
        const bool bSplit = uDepth < KDTreeNode::MAX_DEPTH && uCounts[i] > SMALL_LEAF;
        if (bSplit) subdivide(scene, tree, uChild + i, parts[i], uDepth + 1);
    }
}

}  // namespace

Split plainSplit(const SplitFrame& frame, const std::vector<const FaceData*>& vFaces) {
    std::vector<float> vPositions;
    for (const FaceData* pFace : vFaces) {
        for (const SceneVertex* pVertex : {pFace->pA, pFace->pB, pFace->pC}) {
            const float f = pVertex->v3Position[frame.uAxis];
            if (frame.fLow <= f && f <= frame.fHigh) vPositions.push_back(f);
        }
    }
    // Of equal ones the first stays: 0 and -0 are equal and print differently.
    std::stable_sort(vPositions.begin(), vPositions.end());
    vPositions.erase(std::unique(vPositions.begin(), vPositions.end()), vPositions.end());
    Split best{0.0f, std::numeric_limits<float>::infinity()};
    std::vector<bool> vMarked(vFaces.size());  // they missed the high part once and count low from then on
    for (const float fPos : vPositions) {
        const BoxAABB low = frame.lowPart(fPos), high = frame.highPart(fPos);
        uint32_t uLow = 0, uHigh = 0;
        for (size_t u = 0; u < vFaces.size(); ++u) {
            const FaceData& face = *vFaces[u];
            uLow += vMarked[u] || (reaches(face, low, frame.uAxis) && overlaps(face, low));
            if (vMarked[u] || !reaches(face, high, frame.uAxis)) continue;
            vMarked[u] = !overlaps(face, high);
            uHigh += !vMarked[u];
        }
        const float fCost = frame.cost(fPos, uLow, uHigh);
        if (fCost < best.fCost) best = {fPos, fCost};
    }
    return best;
}

bool buildsPlainTree(const Scene& scene) {
    Tree fast, plain;
    if (KDTreeBuilder(scene, fast.lists, fast.nodes).build()) return false;
    const uint32_t uFaces = scene.vFaces.uCount;
    if (plain.lists.vFacesList.create(std::max(4u, uFaces), 4, LIST_ALIGNMENT) || plain.nodes.create(4, 4))
        return false;
    for (uint32_t u = 0; u < uFaces; ++u) plain.lists.vFacesList.PushBack({u, u + 1 < uFaces ? u + 1 : NO_INDEX});
    KDTreeNode root;
    if (uFaces) root.setList(0);
    plain.nodes.PushBack(root);
    if (uFaces) subdivide(scene, plain, 0, scene.boxScene, 0);
    const auto same = [](const auto& a, const auto& b) {
        return a.uSize == b.uSize && !memcmp(a.pData, b.pData, a.uSize * sizeof(*a.pData));
    };
    return same(fast.nodes, plain.nodes) && same(fast.lists.vFacesList, plain.lists.vFacesList) &&
           fast.lists.uFreeListHead == plain.lists.uFreeListHead;
}
