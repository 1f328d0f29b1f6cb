#include "accel/Bvh.h"

#include <cstring>

#include "accel/BvhBuilder.h"
#include "accel/FaceBounds.h"
#include "scene/Scene.h"

namespace {

constexpr uint32_t ALIGNMENT = 64;  // a cache line

FaceRecord makeRecord(const FaceData& face, uint32_t uFace) {
    const unsigned ku = g_modulo[face.uAxis + 1], kv = g_modulo[face.uAxis + 2];
    const Velk::NMVector3f& C = face.pC->v3Position;
    const uint32_t uDown = face.v3Normal[face.uAxis] < 0.0f;
    return {face.fNu,      face.fNv,      face.fNd,  C[ku],     C[kv],
            face.fLambdaU, face.fLambdaV, face.fMuU, face.fMuV, uFace << 3 | uDown << 2 | face.uAxis};
}

// Fills the items of all sound faces: ordinary ones from the front, those with a large box from the back.
void makeItems(const Scene& scene, const FaceBounds& bounds, BvhBuilder::Item* pItems, BvhBuilder::Range& ordinary,
               BvhBuilder::Range& stretched) {
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        if (!face.isSound()) continue;
        BvhBuilder::Item item;
        const bool bStretched = bounds.bound(face, item.fMin, item.fMax);
        memcpy(&item.fMin[3], &u, sizeof(u));
        item.fMax[3] = 0.0f;
        BvhBuilder::Range& range = bStretched ? stretched : ordinary;
        range.add(item);
        pItems[bStretched ? --range.uBegin : range.uEnd++] = item;
    }
}

// A face is far from its neighbours in the hierarchy, so it is fetched early, and its vertex a little later.
void prefetch(const Scene& scene, const BvhBuilder::Item* pItem, const BvhBuilder::Item* pEnd) {
    if (pEnd - pItem <= 16) return;
    const FaceData& face = scene.vFaces[pItem[16].face()];
    __builtin_prefetch(&face);
    __builtin_prefetch(&face.fNu);
    __builtin_prefetch(scene.vFaces[pItem[8].face()].pC);
}

}  // namespace

bool Bvh::build(const Scene& scene, uint32_t* pRecordOf) {
    const FaceBounds bounds(scene);
    fOriginLimit = bounds.originLimit();
    fReach = bounds.reach();
    const uint32_t uFaces = scene.vFaces.uCount;
    Velk::NAlignedArray<BvhBuilder::Item> vItems;
    if (uFaces > FaceRecord::MAX_FACES || vItems.allocate(uFaces, ALIGNMENT)) return true;
    BvhBuilder::Range ordinary{0, 0, {}, {}}, stretched{uFaces, uFaces, {}, {}};
    makeItems(scene, bounds, vItems.pData, ordinary, stretched);
    // Unsound faces have left a gap.
    const uint32_t uStretched = stretched.count(), uTotal = ordinary.count() + uStretched;
    memmove(vItems.pData + ordinary.uEnd, vItems.pData + stretched.uBegin, uStretched * sizeof(BvhBuilder::Item));
    stretched.uBegin = ordinary.uEnd;
    stretched.uEnd = uTotal;
    // A node has four children or nothing but leaves, and only so few faces stand in fewer nodes.
    const bool bFailed = vNodes.allocate(uTotal / 3 + 1, ALIGNMENT) || vRecords.allocate(uTotal, ALIGNMENT);
    if (!bFailed) {
        vNodes.uCount = BvhBuilder(*this, vItems.pData).build(ordinary, stretched);
        for (uint32_t u = 0; u < uFaces; ++u) pRecordOf[u] = NO_INDEX;
        for (uint32_t u = 0; u < uTotal; ++u) {
            prefetch(scene, &vItems[u], vItems.pData + uTotal);
            const uint32_t uFace = vItems[u].face();
            vRecords[u] = makeRecord(scene.vFaces[uFace], uFace);
            pRecordOf[uFace] = u;
        }
    }
    vItems.Release();
    return bFailed;
}

void Bvh::release() {
    vNodes.Release();
    vRecords.Release();
}
