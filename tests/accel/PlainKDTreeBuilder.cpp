#include "accel/PlainKDTreeBuilder.h"

#include <algorithm>
#include <limits>

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

bool overlaps(const FaceData& face, const BoxAABB& box) {
    const NMVector3f v3Centre = (box.v3Min + box.v3Max) / 2.0f;
    const NMVector3f v3Half = (box.v3Max - box.v3Min) * BOX_HALF;
    return TriBoxIntersection(v3Centre, v3Half, face.pA->v3Position, face.pB->v3Position, face.pC->v3Position);
}

BoxAABB lowPart(const BoxAABB& box, unsigned uAxis, float fPos) {
    BoxAABB part = box;
    part.v3Max[uAxis] = fPos;
    return part;
}

BoxAABB highPart(const BoxAABB& box, unsigned uAxis, float fPos) {
    BoxAABB part = box;
    part.v3Min[uAxis] = fPos;
    return part;
}

}  // namespace

// A node's faces in list order, and the candidate positions among their vertices.
struct PlainKDTreeBuilder::NodeFaces {
    struct Item {
        uint32_t uFace;
        float fMin, fMax;  // vertex range on the split axis
    };
    std::vector<Item> vItems;
    std::vector<float> vPositions;  // in order of appearance
};

bool PlainKDTreeBuilder::build() {
    const uint32_t uFaces = tree.pScene->vFaces.uCount;
    if (tree.vFacesList.create(std::max(4u, uFaces), 4, LIST_ALIGNMENT) || nodes.create(4, 4)) return true;
    for (uint32_t u = 0; u < uFaces; ++u) tree.vFacesList.PushBack({u, u + 1 < uFaces ? u + 1 : NO_INDEX});
    KDTreeNode root;
    if (uFaces) root.setList(0);
    nodes.PushBack(root);
    return uFaces > 0 && subdivide(0, tree.pScene->boxScene, 0, uFaces);
}

void PlainKDTreeBuilder::collectFaces(uint32_t uNode, unsigned uAxis, const BoxAABB& box, NodeFaces& faces) const {
    const float fLow = box.v3Min[uAxis], fHigh = box.v3Max[uAxis];
    for (uint32_t u = nodes[uNode].index(); u != NO_INDEX; u = tree.vFacesList[u].next) {
        const FaceData& face = tree.pScene->vFaces[tree.vFacesList[u].uFace];
        const float a = face.pA->v3Position[uAxis], b = face.pB->v3Position[uAxis], c = face.pC->v3Position[uAxis];
        faces.vItems.push_back({tree.vFacesList[u].uFace, std::min({a, b, c}), std::max({a, b, c})});
        for (const float v : {a, b, c}) {
            if (fLow <= v && v <= fHigh) faces.vPositions.push_back(v);
        }
    }
}

// The plain sweep: every face against every candidate. A face that misses the high part at one position lies wholly
// below every later position, so it counts low from then on without a test.
void PlainKDTreeBuilder::countFaces(const NodeFaces& faces, unsigned uAxis, const BoxAABB& box,
                                    std::vector<SplitCandidate>& vCandidates) const {
    const float fLow = box.v3Min[uAxis], fHigh = box.v3Max[uAxis];
    std::vector<char> vMark(faces.vItems.size(), 1);
    for (SplitCandidate& candidate : vCandidates) {
        const float p = candidate.fPos;
        const BoxAABB low = lowPart(box, uAxis, p), high = highPart(box, uAxis, p);
        for (size_t i = 0; i < faces.vItems.size(); ++i) {
            const NodeFaces::Item& item = faces.vItems[i];
            const FaceData& face = tree.pScene->vFaces[item.uFace];
            if (!vMark[i]) {
                ++candidate.uLeft;
                continue;
            }
            if (item.fMin <= p && fLow <= item.fMax && overlaps(face, low)) ++candidate.uLeft;
            if (item.fMin <= fHigh && p <= item.fMax) {
                if (overlaps(face, high)) {
                    ++candidate.uRight;
                } else {
                    vMark[i] = 0;
                }
            }
        }
    }
}

bool PlainKDTreeBuilder::subdivide(uint32_t uNode, const BoxAABB& box, unsigned uDepth, uint32_t uFaceCount) {
    const unsigned uAxis = longestAxis(box);
    nodes[uNode].setAxis(uAxis);
    const float fLow = box.v3Min[uAxis], fHigh = box.v3Max[uAxis];
    NodeFaces faces;
    collectFaces(uNode, uAxis, box, faces);

    // Of equal positions the first one stays: 0 and -0 are equal and print differently.
    std::vector<SplitCandidate> vCandidates;
    std::stable_sort(faces.vPositions.begin(), faces.vPositions.end());
    for (const float p : faces.vPositions) {
        if (vCandidates.empty() || vCandidates.back().fPos != p) vCandidates.push_back({p, 0, 0});
    }
    countFaces(faces, uAxis, box, vCandidates);

    float fBestCost = std::numeric_limits<float>::infinity();
    const SplitCandidate* pBest = nullptr;
    for (const SplitCandidate& candidate : vCandidates) {
        const float fAreaLow = halfArea(lowPart(box, uAxis, candidate.fPos));
        const float fAreaHigh = halfArea(highPart(box, uAxis, candidate.fPos));
        const float fCost =
            (fAreaLow * static_cast<float>(candidate.uLeft) + static_cast<float>(candidate.uRight) * fAreaHigh) *
                ((0.5f / halfArea(box)) * 2.0f) +
            TRAVERSAL_COST;
        if (fCost < fBestCost) {
            fBestCost = fCost;
            pBest = &candidate;
        }
    }
    if (!pBest || static_cast<float>(uFaceCount) < fBestCost) return false;

    const float p = pBest->fPos;
    const BoxAABB low = lowPart(box, uAxis, p), high = highPart(box, uAxis, p);
    uint32_t uLowHead = NO_INDEX, uHighHead = NO_INDEX, uLow = 0, uHigh = 0;
    for (const NodeFaces::Item& item : faces.vItems) {
        const FaceData& face = tree.pScene->vFaces[item.uFace];
        const auto add = [&](uint32_t& uHead, uint32_t& uCount) {
            const uint32_t uEntry = tree.getNewObjectListNode();
            if (uEntry == NO_INDEX) return true;
            tree.vFacesList[uEntry] = {item.uFace, uHead};
            uHead = uEntry;
            ++uCount;
            return false;
        };
        if (item.fMin <= p && fLow <= item.fMax && overlaps(face, low) && add(uLowHead, uLow)) return true;
        if (item.fMin <= fHigh && p <= item.fMax && overlaps(face, high) && add(uHighHead, uHigh)) return true;
    }
    tree.freeObjectListNodes(nodes[uNode].index());

    const uint32_t uChild = nodes.uSize;
    nodes[uNode].makeInterior(uChild, uAxis);
    nodes[uNode].fSplit = p;
    for (const uint32_t uHead : {uLowHead, uHighHead}) {
        KDTreeNode child;
        if (uHead != NO_INDEX) child.setList(uHead);
        if (nodes.PushBack(child)) return true;
    }
    if (uDepth >= KDTree::MAX_DEPTH) return false;
    if (uLow > SMALL_LEAF && subdivide(uChild, low, uDepth + 1, uLow)) return true;
    return uHigh > SMALL_LEAF && subdivide(uChild + 1, high, uDepth + 1, uHigh);
}
