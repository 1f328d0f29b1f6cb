// Splits streams of rays into packets, and prepares what the kernels read.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

#include "accel/queries/RayQueries.h"
#include "base/InputReport.h"
#include "scene/Scene.h"

namespace rt {

namespace {

constexpr uint32_t LIST_ALIGNMENT = 64;
constexpr uint32_t LIST_PADDING = 16;  // kernels read whole vectors
static_assert(WatertightHit::NO_FACE == NO_INDEX);

// Calls visit(first ray, lane mask) for each packet of a stream.
template <typename Visit>
void forEachPacket(const RayStream& stream, const Visit& visit) {
    for (uint32_t u = 0; u < stream.uCount; u += RayStream::LANES) {
        const uint32_t uUsed = std::min(RayStream::LANES, stream.uCount - u);
        visit(u, uUsed == RayStream::LANES ? ~uint64_t{0} : (uint64_t{1} << uUsed) - 1);
    }
}

template <typename Visit>
void forEachLane(uint64_t uMask, const Visit& visit) {
    for (; uMask; uMask &= uMask - 1) visit(static_cast<unsigned>(__builtin_ctzll(uMask)));
}

RayLanes raysFrom(const RayStream& stream, uint32_t u) {
    return {{stream.fOrigin[0] + u, stream.fOrigin[1] + u, stream.fOrigin[2] + u},
            {stream.fDir[0] + u, stream.fDir[1] + u, stream.fDir[2] + u},
            stream.fMaxDist + u};
}

// True when each split plane lies in the cell of its node. Every tree that was built is so, but a cache file may not
// be. Requires the linked form.
bool planesNest(const KDTree& tree, const KDTreeNode& node, Velk::BoxAABB& cell) {
    if (node.isLeaf()) return true;
    float &fLow = cell.v3Min[node.axis()], &fHigh = cell.v3Max[node.axis()];
    const float fOldLow = fLow, fOldHigh = fHigh, fSplit = node.fSplit;
    if (!(fSplit >= fLow && fSplit <= fHigh)) return false;
    fHigh = fSplit;
    if (!planesNest(tree, tree.vNodes[node.child()], cell)) return false;
    fHigh = fOldHigh;
    fLow = fSplit;
    if (!planesNest(tree, tree.vNodes[node.child() + 1], cell)) return false;
    fLow = fOldLow;
    return true;
}

}  // namespace

bool RayQueries::build(const Scene& scene, bool bResetCache, float fFarthestOrigin) {
    release();
    if (eKind == RayKind::WATERTIGHT) return prepareWatertight(scene);
    kdTree.pStop = pStop;
    if (kdTree.buildTree(&scene, bResetCache, uThreads)) return true;
    if (!prepare(fFarthestOrigin)) return false;
    release();
    return true;
}

void RayQueries::release() {
    kdTree.release();
    bvh.release();
    vLists.Release();
    watertight.release();
}

bool RayQueries::prepareWatertight(const Scene& scene) {
    Velk::NAlignedArray<float> vPositions;
    Velk::NAlignedArray<uint32_t> vIndices;
    const uint64_t uPositions = uint64_t{scene.uVertexCount} * 3, uIndices = uint64_t{scene.vFaces.uCount} * 3;
    bool bFailed = std::max(uPositions, uIndices) >= NO_INDEX ||
                   vPositions.allocate(static_cast<uint32_t>(uPositions), LIST_ALIGNMENT) ||
                   vIndices.allocate(static_cast<uint32_t>(uIndices), LIST_ALIGNMENT);
    if (!bFailed) {
        float* pPosition = vPositions.pData;
        for (uint32_t u = 0; u < scene.uVertexCount; ++u) {
            for (unsigned a = 0; a < 3; ++a) *pPosition++ = scene.pVertices[u].v3Position[a];
        }
        uint32_t* pIndex = vIndices.pData;
        for (const FaceData& face : scene.vFaces) {
            for (const SceneVertex* p : {face.pA, face.pB, face.pC}) {
                *pIndex++ = static_cast<uint32_t>(p - scene.pVertices);
            }
        }
        bFailed = watertight.build(vPositions.pData, scene.uVertexCount, vIndices.pData, scene.vFaces.uCount, uThreads,
                                   pStop);
    }
    if (bFailed && !isStopped(pStop)) {
        const uint32_t uFaces = scene.vFaces.uCount;
        Velk::memoryError(uint64_t{uFaces} * sizeof(WatertightFace), "the boxes of %u faces, at least", uFaces);
    }
    return bFailed;
}

// Builds the BVH, and stores the leaves' lists one after the other as the kernels read them: the number of records,
// then their indices in list order. Unsound faces are left out, because no ray hits them.
bool RayQueries::prepare(float fFarthestOrigin) {
    const Scene& scene = *kdTree.pScene;
    Velk::NAlignedArray<uint32_t> vRecordOf;
    // A binary tree has one leaf more than interior nodes.
    const uint64_t uRoom = uint64_t{kdTree.vFacesList.uSize} + kdTree.vNodes.uCount / 2 + 1 + LIST_PADDING;
    bool bFailed = uRoom >= NO_INDEX || vLists.allocate(static_cast<uint32_t>(uRoom), LIST_ALIGNMENT) ||
                   vRecordOf.allocate(scene.vFaces.uCount, LIST_ALIGNMENT);
    bFailed = bFailed || bvh.build(scene, fFarthestOrigin, vRecordOf.pData, pStop);
    if (bFailed) {
        const uint32_t uFaces = scene.vFaces.uCount;
        const uint64_t uBytes = (uRoom + uFaces) * sizeof(uint32_t) + uint64_t{uFaces} * sizeof(FaceRecord);
        if (!isStopped(pStop)) Velk::memoryError(uBytes, "the boxes of %u faces, at least", uFaces);
        return true;
    }
    Velk::BoxAABB cell{{-HUGE_VALF, -HUGE_VALF, -HUGE_VALF}, {HUGE_VALF, HUGE_VALF, HUGE_VALF}};
    if (!planesNest(kdTree, *kdTree.pRoot, cell)) bvh.fOriginLimit = -1.0f;  // every ray walks the tree
    uint32_t uNext = 0;
    for (uint32_t uNode = 0; uNode < kdTree.vNodes.uCount; ++uNode) {
        KDTreeNode& node = kdTree.vNodes[uNode];
        if (!node.isLeaf()) continue;
        const uint32_t uFirst = uNext++;
        for (uint32_t u = node.hasReference() ? node.list() : NO_INDEX; u != NO_INDEX; u = kdTree.vFacesList[u].next) {
            const uint32_t uRecord = vRecordOf[kdTree.vFacesList[u].uFace];
            if (uRecord != NO_INDEX) vLists[uNext++] = uRecord;
        }
        vLists[uFirst] = uNext - uFirst - 1;
        node.setRecordList(vLists[uFirst] ? uFirst : NO_INDEX);
        if (!vLists[uFirst]) uNext = uFirst;
    }
    std::fill_n(vLists.pData + uNext, LIST_PADDING, NO_INDEX);
    vLists.uCount = uNext;
    return false;
}

size_t RayQueries::bytes() const {
    if (eKind == RayKind::WATERTIGHT) return watertight.bytes();
    return vLists.uCount * sizeof(uint32_t) + bvh.vNodes.uCount * sizeof(BvhNode) +
           bvh.vRecords.uCount * sizeof(FaceRecord);
}

TraversalData RayQueries::traversalData() const {
    const Velk::BoxAABB& box = kdTree.pScene->boxScene;
    return {kdTree.pRoot,
            vLists.pData,
            bvh.vNodes.pData,
            bvh.vRecords.pData,
            bvh.fOriginLimit,
            bvh.bNeedles,
            bvh.fReach,
            {box.v3Min.x, box.v3Min.y, box.v3Min.z},
            {box.v3Max.x, box.v3Max.y, box.v3Max.z}};
}

uint32_t RayQueries::findNearestFaces(const RayStream& stream, uint32_t* pFaces, RayTestOutput* pHits) const {
    assert(stream.uCount <= RayStream::CAPACITY);
    uint32_t uOpen = 0;
    if (eKind == RayKind::WATERTIGHT) {
        WatertightHit met[RayStream::CAPACITY];
        watertight.nearestOf(stream, met, bScattered);
        for (uint32_t u = 0; u < stream.uCount; ++u) {
            pFaces[u] = met[u].uFace;
            // The normal of a face points to where its corners run clockwise.
            pHits[u] = {stream.origin(u) + stream.dir(u) * met[u].fT, met[u].fT, !met[u].bFront, met[u].fU, met[u].fV};
        }
        return uOpen;
    }
    std::fill_n(pFaces, stream.uCount, NO_INDEX);
    if (!kdTree.pRoot) return uOpen;
    const TraversalData data = traversalData();
    HitLanes hits{};
    forEachPacket(stream, [&](uint32_t uFirst, uint64_t uMask) {
        const KernelAnswer answer = pKernel->pfnNearest(data, raysFrom(stream, uFirst), uMask, hits);
        forEachLane(answer.uHit, [&](unsigned uLane) {
            const uint32_t uRay = uFirst + uLane;
            uint32_t uFaceFront;
            memcpy(&uFaceFront, &hits.fFaceFront[uLane], sizeof(uFaceFront));
            pFaces[uRay] = uFaceFront / 2;
            pHits[uRay] = {stream.origin(uRay) + stream.dir(uRay) * hits.fT[uLane], hits.fT[uLane],
                           (uFaceFront & 1) != 0, hits.fU[uLane], hits.fV[uLane]};
        });
        forEachLane(answer.uOpen, [&](unsigned uLane) {
            const uint32_t u = uFirst + uLane;
            ++uOpen;
            const FaceData* pFace =
                kdTree.findNearestFace(stream.origin(u), stream.dir(u), stream.fMaxDist[u], &pHits[u]);
            if (pFace) pFaces[u] = static_cast<uint32_t>(pFace - kdTree.pScene->vFaces.pData);
        });
    });
    return uOpen;
}

uint32_t RayQueries::findObstacles(const RayStream& stream, bool* pBlocked) const {
    assert(stream.uCount <= RayStream::CAPACITY);
    uint32_t uOpen = 0;
    if (eKind == RayKind::WATERTIGHT) {
        watertight.anyOf(stream, pBlocked, bScattered);
        return uOpen;
    }
    std::fill_n(pBlocked, stream.uCount, false);
    if (!kdTree.pRoot) return uOpen;
    const TraversalData data = traversalData();
    forEachPacket(stream, [&](uint32_t uFirst, uint64_t uMask) {
        const KernelAnswer answer = pKernel->pfnObstacles(data, raysFrom(stream, uFirst), uMask);
        forEachLane(answer.uHit, [&](unsigned uLane) { pBlocked[uFirst + uLane] = true; });
        forEachLane(answer.uOpen, [&](unsigned uLane) {
            const uint32_t u = uFirst + uLane;
            ++uOpen;
            pBlocked[u] = kdTree.findObstacle(stream.origin(u), stream.dir(u), stream.fMaxDist[u]);
        });
    });
    return uOpen;
}

}  // namespace rt
