#include "accel/KDTreeSplitSearch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "scene/Scene.h"

using Velk::NMVector3f;

KDTreeSplitSearch::~KDTreeSplitSearch() {
    vPositions.Release();
    vLeft.Release();
    vRight.Release();
}

bool KDTreeSplitSearch::create(const Scene& scene) {
    const size_t uFaces = scene.vFaces.uCount;
    const size_t uRoom = (uFaces + FaceSteps::UNIT - 1) / FaceSteps::UNIT * FaceSteps::UNIT;
    corners.reset(new (std::nothrow) FaceCorners[uFaces]);
    bins.pFaces.reset(new (std::nothrow) SplitBins::FaceBins[uFaces]);
    pNumbers.reset(new (std::nothrow) uint32_t[uRoom]);
    pValues.reset(new (std::nothrow) float[7 * uRoom]);
    if (!corners || !bins.pFaces || !pNumbers || !pValues) return true;
    steps.pFace = pNumbers.get();
    float* pNext = pValues.get();
    for (float** pp : {&steps.pMin, &steps.pMid, &steps.pMax, &steps.pLowMaybe, &steps.pLowSure, &steps.pHighSure,
                       &steps.pHighMaybe}) {
        *pp = pNext;
        pNext += uRoom;
    }

    const auto isTame = [](const NMVector3f& v) {
        return std::fabs(v.x) < FaceSteps::LARGEST && std::fabs(v.y) < FaceSteps::LARGEST &&
               std::fabs(v.z) < FaceSteps::LARGEST;
    };
    bTame = isTame(scene.boxScene.v3Min) && isTame(scene.boxScene.v3Max);
    for (uint32_t u = 0; u < uFaces; ++u) {
        const FaceData& face = scene.vFaces[u];
        corners[u] = {{face.pA->v3Position, face.pB->v3Position, face.pC->v3Position}};
        for (const NMVector3f& v : corners[u].v3Corner) bTame &= isTame(v);
    }
    return false;
}

bool KDTreeSplitSearch::find(const SplitFrame& frame, uint32_t uCount, bool bTested, Split& split) {
    steps.measure(frame, corners.get(), uCount, bTested, bTame);
    bins.fill(frame, steps, uCount, bTame);
    split = {0.0f, std::numeric_limits<float>::infinity()};
    if (!bins.choose(frame, uCount)) return false;
    if (gather(uCount)) return true;
    count(frame, uCount);
    split = cheapest(frame, uCount);
    return false;
}

// Collects the candidates of the chosen bins, ascending and each once.
bool KDTreeSplitSearch::gather(uint32_t uCount) {
    uint32_t uRoom = 3;
    for (uint32_t u = 0; u < bins.bins(); ++u) uRoom += bins.isChosen(u) ? bins.uCandidates[u] : 0;
    if (uRoom > vPositions.uCapacity) {
        for (auto* p : {&vLeft, &vRight}) {
            p->Release();
            if (p->create(uRoom, 0)) return true;
        }
        vPositions.Release();
        if (vPositions.create(uRoom, 0)) return true;
    }
    float* pEnd = vPositions.pData;
    for (uint32_t u = 0; u < uCount; ++u) {
        const uint16_t* pBins = bins.pFaces[u].uVertex;
        const float fVertex[3] = {steps.pMin[u], steps.pMid[u], steps.pMax[u]};
        for (unsigned k = 0; k < 3; ++k) {
            *pEnd = fVertex[k];
            pEnd += bins.isChosen(pBins[k]);
        }
    }
    std::sort(vPositions.pData, pEnd);
    vPositions.uSize = static_cast<uint32_t>(std::unique(vPositions.pData, pEnd) - vPositions.pData);

    // Where the candidates from each bin on begin.
    uint32_t uBin = 0;
    for (uint32_t u = 0; u < vPositions.uSize; ++u) {
        for (const uint32_t uOwn = bins.of(vPositions[u]); uBin <= uOwn; ++uBin) uFirst[uBin] = u;
    }
    for (; uBin <= bins.bins() + 1; ++uBin) uFirst[uBin] = vPositions.uSize;
    return false;
}

uint32_t KDTreeSplitSearch::firstFrom(float fPos, uint32_t uBin) const {
    const float *pBegin = vPositions.pData + uFirst[uBin], *pEnd = vPositions.pData + uFirst[uBin + 1];
    return static_cast<uint32_t>(std::lower_bound(pBegin, pEnd, fPos) - vPositions.pData);
}

uint32_t KDTreeSplitSearch::firstAfter(float fPos, uint32_t uBin) const {
    const float *pBegin = vPositions.pData + uFirst[uBin], *pEnd = vPositions.pData + uFirst[uBin + 1];
    return static_cast<uint32_t>(std::upper_bound(pBegin, pEnd, fPos) - vPositions.pData);
}

void KDTreeSplitSearch::count(const SplitFrame& frame, uint32_t uCount) {
    for (uint32_t u = 0; u <= vPositions.uSize; ++u) vLeft[u] = vRight[u] = 0;
    vRight[0] = uCount;
    for (uint32_t u = 0; u < uCount; ++u) {
        const SplitBins::FaceBins& face = bins.pFaces[u];
        if (bins.isAnyChosen(face.uLowMaybe, face.uLowSure) ||
            bins.isAnyChosen(face.uHighSure, std::max(face.uHighMaybe, face.uLowSure))) {
            --bins.uLowSure[face.uLowSure];
            --bins.uHighSure[face.uHighSure];
            countFace(frame, u);
        }
    }
    // The others turn between the candidates.
    for (uint32_t u = 0; u <= bins.bins(); ++u) {
        vLeft[uFirst[u]] += bins.uLowSure[u];
        vRight[uFirst[u]] -= bins.uHighSure[u];
    }
}

void KDTreeSplitSearch::countFace(const SplitFrame& frame, uint32_t u) {
    const SplitBins::FaceBins& face = bins.pFaces[u];
    const uint32_t uLowSure = firstFrom(steps.pLowSure[u], face.uLowSure);
    const uint32_t uHighEnd = firstAfter(steps.pHighSure[u], face.uHighSure);
    --vRight[uHighEnd];
    const auto addOne = [](Velk::NDataVector<uint32_t>& vCounts, uint32_t uAt) {
        ++vCounts[uAt];
        --vCounts[uAt + 1];
    };
    // Unmarked, the low answer open.
    const uint32_t uLowMaybe = face.uLowMaybe == face.uLowSure && steps.pLowMaybe[u] == steps.pLowSure[u]
                                   ? uLowSure
                                   : firstFrom(steps.pLowMaybe[u], face.uLowMaybe);
    for (uint32_t j = uLowMaybe; j < std::min(uLowSure, uHighEnd); ++j) {
        if (overlapsLow(frame, u, vPositions[j])) addOne(vLeft, j);
    }
    // The high answer, and so the mark, open.
    const uint32_t uOpenEnd = std::max({uHighEnd, uLowSure, firstAfter(steps.pHighMaybe[u], face.uHighMaybe)});
    const bool bLowOpen = uLowSure > uHighEnd;
    bool bMarked = false;
    for (uint32_t j = uHighEnd; j < uOpenEnd; ++j) {
        const float p = vPositions[j];
        if (bLowOpen && (bMarked || p >= steps.pLowSure[u] || isLow(frame, u, p))) addOne(vLeft, j);
        if (bMarked || p > steps.pMax[u] || steps.pMin[u] > frame.fHigh) continue;
        if (p <= steps.pHighMaybe[u] && overlapsHigh(frame, u, p)) {
            addOne(vRight, j);
        } else {
            bMarked = true;
        }
    }
    ++vLeft[bLowOpen ? uOpenEnd : uLowSure];
}

KDTreeSplitSearch::Split KDTreeSplitSearch::cheapest(const SplitFrame& frame, uint32_t uCount) const {
    Split best{0.0f, std::numeric_limits<float>::infinity()};
    uint32_t uLeft = 0, uRight = 0;
    for (uint32_t u = 0; u < vPositions.uSize; ++u) {
        uLeft += vLeft[u];
        uRight += vRight[u];
        const float fCost = frame.cost(vPositions[u], uLeft, uRight);
        if (fCost < best.fCost) best = {vPositions[u], fCost};
    }
    if (best.fPos == 0.0f) best.fPos = firstZero(frame, uCount);
    return best;
}

// Of equal candidates the first one counts, which shows in the sign of zero.
float KDTreeSplitSearch::firstZero(const SplitFrame& frame, uint32_t uCount) const {
    for (uint32_t u = 0; u < uCount; ++u) {
        for (const NMVector3f& v : corners[steps.pFace[u]].v3Corner) {
            if (v[frame.uAxis] == 0.0f) return v[frame.uAxis];
        }
    }
    return 0.0f;
}

bool KDTreeSplitSearch::overlapsLow(const SplitFrame& frame, uint32_t u, float fPos) const {
    return SplitFrame::overlaps(corners[steps.pFace[u]].v3Corner, frame.lowPart(fPos));
}

bool KDTreeSplitSearch::overlapsHigh(const SplitFrame& frame, uint32_t u, float fPos) const {
    return SplitFrame::overlaps(corners[steps.pFace[u]].v3Corner, frame.highPart(fPos));
}
