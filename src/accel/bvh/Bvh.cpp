// Builds the BVH from the bounds of the faces, and the face records in the order of its leaves.
#include "accel/bvh/Bvh.h"

#include <algorithm>
#include <cstring>

#include "accel/bvh/BvhBuilder.h"
#include "accel/bvh/FaceBounds.h"
#include "scene/Scene.h"

namespace rt {

namespace {

constexpr uint32_t ALIGNMENT = 64;  // a cache line

FaceRecord makeRecord(const FaceData& face, uint32_t uFace) {
    const unsigned ku = g_modulo[face.uAxis + 1], kv = g_modulo[face.uAxis + 2];
    const Velk::NMVector3f& C = face.pC->v3Position;
    const uint32_t uDown = face.v3Normal[face.uAxis] < 0.0f;
    return {face.fNu,      face.fNv,      face.fNd,  C[ku],     C[kv],
            face.fLambdaU, face.fLambdaV, face.fMuU, face.fMuV, uFace << 3 | uDown << 2 | face.uAxis};
}

// The items share the memory of the records: they lie at the end of the block, which has room for two records more.
// Items are smaller, so writing a record overwrites only its own item and earlier ones. With a block of their own, page
// faults would take a third of the time for a large scene.
BoxItem* itemsAtEnd(FaceRecord* pRecords, uint32_t uFaces) {
    static_assert(sizeof(BoxItem) < sizeof(FaceRecord), "records come later than the items that they overwrite");
    const size_t uGap = size_t{uFaces} * (sizeof(FaceRecord) - sizeof(BoxItem));
    void* pItems = reinterpret_cast<char*>(pRecords) + (uGap + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    return static_cast<BoxItem*>(pItems);
}

struct Counts {
    uint32_t uOrdinary = 0, uNeedles = 0;
};

// Fills the items of all sound faces: ordinary ones, then needles.
Counts makeItems(const Scene& scene, const FaceBounds& bounds, BoxItem* pItems) {
    constexpr uint32_t PREFETCH_AHEAD = 8;  // a face's vertices may be anywhere in memory
    const uint32_t uFaces = scene.vFaces.uCount;
    Counts counts;
    for (uint32_t u = 0; u < uFaces; ++u) {
        const FaceData& face = scene.vFaces[u];
        __builtin_prefetch(scene.vFaces[std::min(u + PREFETCH_AHEAD, uFaces - 1)].pC);
        if (!face.isSound()) continue;
        BoxItem item;
        const bool bNeedle = bounds.bound(face, item.fMin, item.fMax);
        item.setFace(u);
        item.fMax[3] = 0.0f;
        pItems[bNeedle ? uFaces - ++counts.uNeedles : counts.uOrdinary++] = item;
    }
    // Closes the gap that unsound faces left.
    memmove(pItems + counts.uOrdinary, pItems + uFaces - counts.uNeedles, counts.uNeedles * sizeof(BoxItem));
    return counts;
}

// Neighbours in the BVH are far apart in memory, so a face is prefetched, and a little later its vertex.
void prefetch(const Scene& scene, const BoxItem* pItem, const BoxItem* pEnd) {
    constexpr ptrdiff_t FACE_AHEAD = 16, VERTEX_AHEAD = 8;
    if (pEnd - pItem <= FACE_AHEAD) return;
    const FaceData& face = scene.vFaces[pItem[FACE_AHEAD].face()];
    __builtin_prefetch(&face);
    __builtin_prefetch(&face.fNu);
    __builtin_prefetch(scene.vFaces[pItem[VERTEX_AHEAD].face()].pC);
}

}  // namespace

bool Bvh::build(const Scene& scene, float fFarthestOrigin, uint32_t* pRecordOf, StopFlag pStop) {
    const FaceBounds bounds(scene, fFarthestOrigin);
    fOriginLimit = bounds.originLimit();
    fReach = bounds.reach();
    const uint32_t uFaces = scene.vFaces.uCount;
    if (uFaces > FaceRecord::MAX_FACES || vRecords.allocate(uFaces + 2, ALIGNMENT)) return true;
    BoxItem* const pItems = itemsAtEnd(vRecords.pData, uFaces);
    const Counts counts = makeItems(scene, bounds, pItems);
    const uint32_t uTotal = counts.uOrdinary + counts.uNeedles;
    bNeedles = counts.uNeedles > 0;
    // A node has four children or only leaves. So there are at most a third as many nodes as faces, plus the root.
    if (vNodes.allocate(uTotal / 3 + 1, ALIGNMENT)) return true;
    vNodes.uCount = buildBvh(vNodes.pData, pItems, counts.uOrdinary, uTotal, pStop);
    if (isStopped(pStop)) return true;
    for (uint32_t u = 0; u < uFaces; ++u) pRecordOf[u] = NO_INDEX;
    for (uint32_t u = 0; u < uTotal; ++u) {
        prefetch(scene, pItems + u, pItems + uTotal);
        const uint32_t uFace = pItems[u].face();
        vRecords[u] = makeRecord(scene.vFaces[uFace], uFace);
        pRecordOf[uFace] = u;
    }
    vRecords.uCount = uTotal;
    return false;
}

void Bvh::release() {
    vNodes.Release();
    vRecords.Release();
}

}  // namespace rt
