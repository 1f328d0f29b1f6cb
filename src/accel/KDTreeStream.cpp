#include <algorithm>
#include <cstring>
#include <vector>

#include "accel/KDTree.h"
#include "scene/Scene.h"

namespace {

constexpr uint32_t RECORD_ALIGNMENT = 64;

LeafFace makeRecord(const FaceData& face, uint32_t uFace, uint32_t uPlace) {
    const unsigned ku = g_modulo[face.uAxis + 1], kv = g_modulo[face.uAxis + 2];
    const Velk::NMVector3f& C = face.pC->v3Position;
    return {face.fNu,      face.fNv,      face.fNd,  C[ku],     C[kv],
            face.fLambdaU, face.fLambdaV, face.fMuU, face.fMuV, 2 * uFace + (face.v3Normal[face.uAxis] < 0.0f),
            face.uAxis,    uPlace};
}

// Calls visit(lanes' first ray, their mask) for each packet of a stream.
template <typename Visit>
void forEachPacket(const RayStream& stream, unsigned uLanes, const Visit& visit) {
    for (uint32_t u = 0; u < stream.uCount; u += uLanes) {
        const uint32_t uUsed = std::min<uint32_t>(uLanes, stream.uCount - u);
        visit(u, uUsed == 64 ? ~uint64_t{0} : (uint64_t{1} << uUsed) - 1);
    }
}

PacketRays raysFrom(const RayStream& stream, uint32_t u) {
    return {{stream.fOrigin[0] + u, stream.fOrigin[1] + u, stream.fOrigin[2] + u},
            {stream.fDir[0] + u, stream.fDir[1] + u, stream.fDir[2] + u},
            stream.fMaxDist + u};
}

}  // namespace

// Lays the leaves' faces out one behind the other. Unsound faces are left out: they never hit.
bool KDTree::makeRecords() {
    const auto forEachFace = [this](const KDTreeNode& leaf, const auto& visit) {
        if (!leaf.hasReference()) return;
        for (uint32_t u = leaf.list(); u != NO_INDEX; u = vFacesList[u].next) {
            const uint32_t uFace = vFacesList[u].uFace;
            if (pScene->vFaces[uFace].isSound()) visit(uFace);
        }
    };
    uint64_t uTotal = 0;
    for (const KDTreeNode& node : vNodes) {
        if (node.isLeaf()) forEachFace(node, [&uTotal](uint32_t) { ++uTotal; });
    }
    if (uTotal >= KDTreeNode::HAS_BOXES || vRecords.allocate(static_cast<uint32_t>(uTotal), RECORD_ALIGNMENT))
        return true;
    LeafBoxes boxes(*pScene);
    fOriginLimit = boxes.originLimit();
    std::vector<LeafBox> vGrowing;
    uint32_t uNext = 0;
    for (KDTreeNode& node : vNodes) {
        if (!node.isLeaf()) continue;
        const uint32_t uFirst = uNext;
        forEachFace(node, [&](uint32_t uFace) {
            vRecords[uNext] = makeRecord(pScene->vFaces[uFace], uFace, uNext - uFirst);
            ++uNext;
        });
        const uint32_t uCount = uNext - uFirst;
        if (uCount > LeafBoxes::LARGE_LEAF) {
            node.setRecords(boxes.build(&vRecords[uFirst], uCount, uFirst, vGrowing) | KDTreeNode::HAS_BOXES);
        } else {
            node.setRecords(uCount ? uFirst : NO_INDEX);
            if (uCount) vRecords[uFirst].uPlace = uCount;
        }
    }
    if (vBoxes.allocate(static_cast<uint32_t>(vGrowing.size()), RECORD_ALIGNMENT)) return true;
    std::copy(vGrowing.begin(), vGrowing.end(), vBoxes.begin());
    return false;
}

PacketTree KDTree::packetTree() const {
    const Velk::BoxAABB& box = pScene->boxScene;
    return {pRoot,
            vRecords.pData,
            vBoxes.pData,
            fOriginLimit,
            {box.v3Min.x, box.v3Min.y, box.v3Min.z},
            {box.v3Max.x, box.v3Max.y, box.v3Max.z}};
}

void KDTree::findNearestFaces(const RayStream& stream, uint32_t* pFaces, RayTestOutput* pHits) const {
    std::fill_n(pFaces, stream.uCount, NO_INDEX);
    if (!pRoot) return;
    const PacketTree tree = packetTree();
    PacketHits hits{};
    forEachPacket(stream, pKernel->uLanes, [&](uint32_t uFirst, uint64_t uMask) {
        uint64_t uHits = pKernel->pfnNearest(tree, raysFrom(stream, uFirst), uMask, hits);
        for (; uHits; uHits &= uHits - 1) {
            const unsigned uLane = static_cast<unsigned>(__builtin_ctzll(uHits));
            const uint32_t uRay = uFirst + uLane;
            uint32_t uFaceFront;
            memcpy(&uFaceFront, &hits.fFaceFront[uLane], sizeof(uFaceFront));
            pFaces[uRay] = uFaceFront / 2;
            pHits[uRay] = {stream.origin(uRay) + stream.dir(uRay) * hits.fT[uLane], hits.fT[uLane],
                           (uFaceFront & 1) != 0, hits.fU[uLane], hits.fV[uLane]};
        }
    });
}

void KDTree::findObstacles(const RayStream& stream, bool* pBlocked) const {
    std::fill_n(pBlocked, stream.uCount, false);
    if (!pRoot) return;
    const PacketTree tree = packetTree();
    forEachPacket(stream, pKernel->uLanes, [&](uint32_t u, uint64_t uMask) {
        uint64_t uHits = pKernel->pfnObstacles(tree, raysFrom(stream, u), uMask);
        for (; uHits; uHits &= uHits - 1) pBlocked[u + static_cast<unsigned>(__builtin_ctzll(uHits))] = true;
    });
}
