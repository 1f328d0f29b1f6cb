// One ray a pixel, and what it tells.
#include "render/layers/LayerTracer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <new>

#include "accel/RayStream.h"
#include "render/studio/Tone.h"
#include "scene/OnThreads.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned MOST_HOLES = 32;  // one behind the other
constexpr float OFFSET = 0.1f;       // of rays that go on behind one, in 1/10000 of the scene

void put(float* p, size_t uPixel, const NMVector3f& v3) {
    for (unsigned a = 0; a < 3; ++a) p[uPixel * 3 + a] = v3[a];
}

}  // namespace

// Of a thread.
struct LayerTracer::Scratch {
    RayStream rays, rest;
    uint32_t uFaces[RayStream::CAPACITY], uRestFaces[RayStream::CAPACITY], uOf[RayStream::CAPACITY];
    RayTestOutput hits[RayStream::CAPACITY], restHits[RayStream::CAPACITY];
};

LayerTracer::LayerTracer(const PreparedScene& prepared, const SurfaceTextures* pColours, uint32_t uGround,
                         const Frame& picture, float fMiddle)
    : scene(prepared), pTextures(pColours), uUnseen(uGround), frame(picture), fInPixel(fMiddle) {
    const NMVector3f v3Look = frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f - frame.v3Eye;
    v3Forward = normalize(cross(frame.v3ImageSpanX, frame.v3ImageSpanY));
    if (dot(v3Forward, v3Look) < 0.0f) v3Forward = v3Forward * -1.0f;
    fPixel = length(frame.v3ImageSpanX) / static_cast<float>(frame.uWidth);
    if (!frame.bParallel) fPixel = fPixel / length(v3Look);
}

bool LayerTracer::trace(const LayerTargets& wanted, const Tile& part, unsigned uThreads,
                        const std::function<bool()>& isStopped) {
    to = wanted;
    window = part;
    std::atomic<uint32_t> uNext{0};
    std::atomic<uint64_t> uAll{0};
    std::atomic<bool> bFailed{false};
    onThreads(std::min(uThreads, window.uRows), [&](unsigned) {
        const std::unique_ptr<Scratch> pScratch(new (std::nothrow) Scratch);
        if (!pScratch) bFailed = true;
        for (uint32_t y; !bFailed && (y = uNext++) < window.uRows;) {
            if (isStopped()) bFailed = true;
            uAll += traceRow(*pScratch, y);
        }
    });
    uCovered = uAll;
    return bFailed;
}

// The pixels of a row of the window that show the scene.
uint64_t LayerTracer::traceRow(Scratch& scratch, uint32_t uRow) const {
    uint64_t uSeen = 0;
    const float fDown = static_cast<float>(window.y + uRow) + fInPixel;
    for (uint32_t uFirst = 0; uFirst < window.uColumns; uFirst += scratch.rays.uCount) {
        const uint32_t uEnd = uFirst + std::min(RayStream::CAPACITY, window.uColumns - uFirst);
        scratch.rays.uCount = 0;
        for (uint32_t x = uFirst; x < uEnd; ++x) {
            const Frame::Ray ray = frame.rayThrough(static_cast<float>(window.x + x) + fInPixel, fDown);
            scratch.rays.add(ray.v3From, normalize(ray.v3Dir), frame.fMaxDistance);
        }
        findFaces(scratch);
        for (uint32_t u = 0; u < scratch.rays.uCount; ++u) {
            const Frame::Ray ray{scratch.rays.origin(u), scratch.rays.dir(u)};
            store(size_t{uRow} * window.uColumns + uFirst + u, ray, ray.v3Dir, scratch.uFaces[u], scratch.hits[u]);
            uSeen += scratch.uFaces[u] != NO_INDEX;
        }
    }
    return uSeen;
}

bool LayerTracer::isSeenThrough(uint32_t uFace, const RayTestOutput& hit) const {
    const uint32_t uMaterial = scene.scene.vFaces[uFace].uAttribute;
    if (uMaterial == uUnseen && uUnseen != NO_INDEX) return true;
    return pTextures && pTextures->has(uMaterial) && pTextures->at(uFace, hit, 0.0f).bHole;
}

void LayerTracer::findFaces(Scratch& scratch) const {
    RayStream& rest = scratch.rest;
    scene.queries.findNearestFaces(scratch.rays, scratch.uFaces, scratch.hits);
    for (unsigned uBehind = 0; uBehind < MOST_HOLES; ++uBehind) {
        rest.uCount = 0;
        for (uint32_t u = 0; u < scratch.rays.uCount; ++u) {
            if (scratch.uFaces[u] == NO_INDEX || !isSeenThrough(scratch.uFaces[u], scratch.hits[u])) continue;
            const NMVector3f v3Dir = scratch.rays.dir(u), &v3Hit = scratch.hits[u].v3Hit;
            scratch.uOf[rest.uCount] = u;
            rest.add(v3Hit + v3Dir * OFFSET, v3Dir, frame.fMaxDistance);
        }
        if (!rest.uCount) return;
        scene.queries.findNearestFaces(rest, scratch.uRestFaces, scratch.restHits);
        for (uint32_t u = 0; u < rest.uCount; ++u) {
            scratch.uFaces[scratch.uOf[u]] = scratch.uRestFaces[u];
            scratch.hits[scratch.uOf[u]] = scratch.restHits[u];
        }
    }
}

void LayerTracer::store(size_t uPixel, const Frame::Ray& ray, const NMVector3f& v3Dir, uint32_t uFace,
                        const RayTestOutput& hit) const {
    const bool bSeen = uFace != NO_INDEX;
    const NMVector3f v3Way = bSeen ? hit.v3Hit - ray.v3From : NMVector3f{};
    const float fAway = length(v3Way), fUnit = scene.scene.fDomainFactor;
    if (to.pDepth) to.pDepth[uPixel] = bSeen ? dot(v3Way, v3Forward) / fUnit : HUGE_VALF;
    if (to.pDistance) to.pDistance[uPixel] = bSeen ? fAway / fUnit : HUGE_VALF;
    if (to.pFace) to.pFace[uPixel] = uFace;
    if (to.pMesh) to.pMesh[uPixel] = bSeen ? scene.parts.partOf(uFace) : NO_INDEX;
    if (to.pMaterial) to.pMaterial[uPixel] = bSeen ? scene.scene.vFaces[uFace].uAttribute : NO_INDEX;
    if (to.pMask) to.pMask[uPixel] = bSeen ? 1.0f : 0.0f;
    if (to.pPosition) put(to.pPosition, uPixel, bSeen ? hit.v3Hit / fUnit : NMVector3f{});
    if (to.pNormal) put(to.pNormal, uPixel, bSeen ? normalAt(scene.scene.vFaces[uFace], hit, v3Dir) : NMVector3f{});
    if (to.pAlbedo) put(to.pAlbedo, uPixel, bSeen ? albedoAt(uFace, hit, fAway) : NMVector3f{});
}

// Towards the eye, rounded where the material is smooth.
NMVector3f LayerTracer::normalAt(const FaceData& face, const RayTestOutput& hit, const NMVector3f& v3Dir) const {
    const float fSide = dot(face.v3Normal, v3Dir) > 0.0f ? -1.0f : 1.0f;
    const bool bSmooth = face.isSound() && scene.attributes.vAttributes[face.uAttribute].uFlags & AF_SMOOTH;
    if (!bSmooth) return face.v3Normal * fSide;
    const NMVector3f v3Sum =
        face.pA->v3Normal * hit.fU + face.pB->v3Normal * hit.fV + face.pC->v3Normal * (1.0f - hit.fU - hit.fV);
    return dot(v3Sum, v3Sum) > 0.0f ? normalize(v3Sum) * fSide : face.v3Normal * fSide;
}

// The colour of the material at a place, as light: what white light makes of it.
NMVector3f LayerTracer::albedoAt(uint32_t uFace, const RayTestOutput& hit, float fAway) const {
    const uint32_t uMaterial = scene.scene.vFaces[uFace].uAttribute;
    if (!pTextures || !pTextures->has(uMaterial)) return lightOf(scene.attributes.vAttributes[uMaterial].v3Color);
    return pTextures->at(uFace, hit, frame.bParallel ? fPixel : fPixel * fAway).v3Albedo;
}

}  // namespace rt
