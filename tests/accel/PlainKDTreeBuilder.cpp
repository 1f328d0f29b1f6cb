// A kd-tree builder that tests every face against every candidate.
#include "accel/PlainKDTreeBuilder.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "accel/TriBoxIntersection.h"
#include "scene/Scene.h"

using Velk::BoxAABB;
using Velk::NMVector3f;

namespace {

// Tuning of the search; the cost of a leaf is its number of faces.
constexpr float TRAVERSAL_COST = 0.3f;  // of one interior node
constexpr float BOX_HALF = 0.51f;       // of a box's extent: boxes are enlarged by 2% so that no face falls between two
constexpr uint32_t SMALL_LEAF = 2;      // faces that are never split further
constexpr uint32_t LIST_ALIGNMENT = 32;

unsigned longestAxis(const BoxAABB& box) {
    const NMVector3f d = box.v3Max - box.v3Min;
    if (d.x >= d.y && d.x >= d.z) return 0;
    return d.y >= d.x && d.y >= d.z ? 1 : 2;
}

float halfArea(const BoxAABB& box) {
    const NMVector3f d = box.v3Max - box.v3Min;
    return d.x * (d.y + d.z) + d.y * d.z;
}

bool reaches(const FaceData& face, const BoxAABB& box, unsigned uAxis) {
    const float a = face.pA->v3Position[uAxis], b = face.pB->v3Position[uAxis], c = face.pC->v3Position[uAxis];
    return std::min({a, b, c}) <= box.v3Max[uAxis] && box.v3Min[uAxis] <= std::max({a, b, c});
}

bool overlaps(const FaceData& face, const BoxAABB& box) {
    const NMVector3f v3Centre = (box.v3Min + box.v3Max) / 2.0f;
    const NMVector3f v3Half = (box.v3Max - box.v3Min) * BOX_HALF;
    return TriBoxIntersection(v3Centre, v3Half, face.pA->v3Position, face.pB->v3Position, face.pC->v3Position);
}

std::array<BoxAABB, 2> cut(const BoxAABB& box, unsigned uAxis, float fPos) {
    std::array<BoxAABB, 2> halves{box, box};
    halves[0].v3Max[uAxis] = halves[1].v3Min[uAxis] = fPos;
    return halves;
}

// The vertex coordinates within the box, ascending. Of equal ones the first stays: 0 and -0 are equal and print
// differently.
std::vector<float> candidates(const std::vector<const FaceData*>& vFaces, const BoxAABB& box, unsigned uAxis) {
    std::vector<float> vPositions;
    for (const FaceData* pFace : vFaces) {
        for (const SceneVertex* pVertex : {pFace->pA, pFace->pB, pFace->pC}) {
            const float f = pVertex->v3Position[uAxis];
            if (box.v3Min[uAxis] <= f && f <= box.v3Max[uAxis]) vPositions.push_back(f);
        }
    }
    std::stable_sort(vPositions.begin(), vPositions.end());
    vPositions.erase(std::unique(vPositions.begin(), vPositions.end()), vPositions.end());
    return vPositions;
}

// The plain sweep: every face against every candidate. A face that misses the high part at one position lies wholly
// below every later position, so it counts low from then on without a test. Returns the cost of the best position.
float findSplit(const std::vector<const FaceData*>& vFaces, const BoxAABB& box, unsigned uAxis, float& fBest) {
    float fBestCost = std::numeric_limits<float>::infinity();
    std::vector<bool> vBelow(vFaces.size());
    for (const float fPos : candidates(vFaces, box, uAxis)) {
        const auto [low, high] = cut(box, uAxis, fPos);
        uint32_t uLow = 0, uHigh = 0;
        for (size_t u = 0; u < vFaces.size(); ++u) {
            const FaceData& face = *vFaces[u];
            uLow += vBelow[u] || (reaches(face, low, uAxis) && overlaps(face, low));
            if (vBelow[u] || !reaches(face, high, uAxis)) continue;
            vBelow[u] = !overlaps(face, high);
            uHigh += !vBelow[u];
        }
        const float fCost = (halfArea(low) * static_cast<float>(uLow) + static_cast<float>(uHigh) * halfArea(high)) *
                                ((0.5f / halfArea(box)) * 2.0f) +
                            TRAVERSAL_COST;
        if (fCost < fBestCost) {
            fBestCost = fCost;
            fBest = fPos;
        }
    }
    return fBestCost;
}

}  // namespace

bool PlainKDTreeBuilder::build() {
    const uint32_t uFaces = scene.vFaces.uCount;
    if (lists.vFacesList.create(std::max(4u, uFaces), 4, LIST_ALIGNMENT) || nodes.create(4, 4)) return true;
    for (uint32_t u = 0; u < uFaces; ++u) lists.vFacesList.PushBack({u, u + 1 < uFaces ? u + 1 : NO_INDEX});
    KDTreeNode root;
    if (uFaces) root.setList(0);
    nodes.PushBack(root);
    return uFaces > 0 && subdivide(0, scene.boxScene, 0, uFaces);
}

bool PlainKDTreeBuilder::subdivide(uint32_t uNode, const BoxAABB& box, unsigned uDepth, uint32_t uFaceCount) {
    const unsigned uAxis = longestAxis(box);
    nodes[uNode].setAxis(uAxis);
    std::vector<const FaceData*> vFaces;  // in list order
    for (uint32_t u = nodes[uNode].index(); u != NO_INDEX; u = lists.vFacesList[u].next) {
        vFaces.push_back(&scene.vFaces[lists.vFacesList[u].uFace]);
    }
    float fPos = 0.0f;
    if (static_cast<float>(uFaceCount) < findSplit(vFaces, box, uAxis, fPos)) return false;

    const std::array<BoxAABB, 2> halves = cut(box, uAxis, fPos);
    uint32_t uHeads[2] = {NO_INDEX, NO_INDEX}, uCounts[2] = {};
    for (const FaceData* pFace : vFaces) {
        for (const unsigned i : {0u, 1u}) {
            if (!reaches(*pFace, halves[i], uAxis) || !overlaps(*pFace, halves[i])) continue;
            const uint32_t uEntry = lists.getNewObjectListNode();
            if (uEntry == NO_INDEX) return true;
            lists.vFacesList[uEntry] = {static_cast<uint32_t>(pFace - scene.vFaces.pData), uHeads[i]};
            uHeads[i] = uEntry;
            ++uCounts[i];
        }
    }
    lists.freeObjectListNodes(nodes[uNode].index());

    const uint32_t uChild = nodes.uSize;
    nodes[uNode].makeInterior(uChild, uAxis);
    nodes[uNode].fSplit = fPos;
    for (const uint32_t uHead : uHeads) {
        KDTreeNode child;
        if (uHead != NO_INDEX) child.setList(uHead);
        if (nodes.PushBack(child)) return true;
    }
    for (const unsigned i : {0u, 1u}) {
        const bool bSplit = uDepth < KDTreeNode::MAX_DEPTH && uCounts[i] > SMALL_LEAF;
        if (bSplit && subdivide(uChild + i, halves[i], uDepth + 1, uCounts[i])) return true;
    }
    return false;
}
