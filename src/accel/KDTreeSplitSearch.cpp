#include "accel/KDTreeSplitSearch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/LargeBlock.h"
#include "scene/Scene.h"

using Velk::NMVector3f;

namespace {

constexpr uint32_t FEW_CANDIDATES = 16;  // searched and sorted in the simplest way

void sortFew(float* pBegin, float* pEnd) {
    if (pEnd - pBegin > FEW_CANDIDATES) {
        std::sort(pBegin, pEnd);
        return;
    }
    for (float* p = pBegin + 1; p < pEnd; ++p) {
        const float f = *p;
        float* pHole = p;
        for (; pHole > pBegin && pHole[-1] > f; --pHole) *pHole = pHole[-1];
        *pHole = f;
    }
}

}  // namespace

KDTreeSplitSearch::~KDTreeSplitSearch() {
    vPositions.Release();
    vLeft.Release();
    vRight.Release();
}

bool KDTreeSplitSearch::create(const Scene& scene) {
    const size_t uFaces = scene.vFaces.uCount;
    const size_t uRoom = (uFaces + StepsFrame::UNIT - 1) / StepsFrame::UNIT * StepsFrame::UNIT;
    corners.reset(new (std::nothrow) FaceCorners[uFaces]);
    pNumbers.reset(new (std::nothrow) uint32_t[uRoom]);
    pValues.reset(new (std::nothrow) float[FaceSteps::ARRAYS * uRoom]);
    pBins.reset(new (std::nothrow) uint16_t[FaceSteps::ARRAYS * uRoom]);
    if (!corners || !pNumbers || !pValues || !pBins) return true;
    Velk::preferLargePages(corners.get(), uFaces * sizeof(FaceCorners));
    Velk::preferLargePages(pValues.get(), FaceSteps::ARRAYS * uRoom * sizeof(float));
    steps.pFace = pNumbers.get();
    steps.divide(pValues.get(), uRoom);
    bins.faces.divide(pBins.get(), uRoom);

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
    // Each bin gets its place; the vertices of the others all go to the last place.
    uint32_t uPlaces = 0;
    for (uint32_t u = 0; u < bins.bins(); ++u) uPlaces += bins.isChosen(u) ? bins.candidates(u) : 0;
    if (uPlaces >= vPositions.uCapacity && makeRoom(uPlaces + 1)) return true;
    uint32_t uNext[SplitBins::MAX_BINS + 1];
    for (uint32_t u = 0, uPlace = 0; u <= bins.bins(); ++u) {
        uNext[u] = bins.isChosen(u) ? uPlace : uPlaces;
        uPlace += bins.isChosen(u) ? bins.candidates(u) : 0;
    }
    float* const pPositions = vPositions.pData;
    const auto put = [&](float f, uint32_t uBin) {
        pPositions[uNext[uBin]] = f;
        uNext[uBin] += bins.isChosen(uBin);
    };
    for (uint32_t u = 0; u < uCount; ++u) {
        put(steps.pMin[u], bins.faces.pMin[u]);
        put(steps.pMid[u], bins.faces.pMid[u]);
        put(steps.pMax[u], bins.faces.pMax[u]);
    }
    uint32_t uEnd = 0;
    for (uint32_t u = 0; u < bins.bins(); ++u) {
        uFirst[u] = uEnd;
        if (!bins.isChosen(u)) continue;
        float *const pEnd = pPositions + uNext[u], *const pBegin = pEnd - bins.candidates(u);
        sortFew(pBegin, pEnd);
        for (const float* p = pBegin; p < pEnd; ++p) {
            if (uEnd == uFirst[u] || pPositions[uEnd - 1] != *p) pPositions[uEnd++] = *p;
        }
    }
    uFirst[bins.bins()] = uFirst[bins.bins() + 1] = uEnd;
    vPositions.uSize = uEnd;
    return false;
}

bool KDTreeSplitSearch::makeRoom(uint32_t uCandidates) {
    for (auto* p : {&vLeft, &vRight}) {
        p->Release();
        if (p->create(uCandidates, 0)) return true;
    }
    vPositions.Release();
    return vPositions.create(uCandidates, 0);
}

// The first candidate of the bin that is not below, is above fPos; the next bin's first when there is none.
uint32_t KDTreeSplitSearch::firstFrom(float fPos, uint32_t uBin) const {
    uint32_t u = uFirst[uBin], uEnd = uFirst[uBin + 1];
    if (uEnd - u > FEW_CANDIDATES) {
        const float* pFrom = std::lower_bound(vPositions.pData + u, vPositions.pData + uEnd, fPos);
        return static_cast<uint32_t>(pFrom - vPositions.pData);
    }
    while (u < uEnd && vPositions[u] < fPos) ++u;
    return u;
}

uint32_t KDTreeSplitSearch::firstAfter(float fPos, uint32_t uBin) const {
    uint32_t u = uFirst[uBin], uEnd = uFirst[uBin + 1];
    if (uEnd - u > FEW_CANDIDATES) {
        const float* pFrom = std::upper_bound(vPositions.pData + u, vPositions.pData + uEnd, fPos);
        return static_cast<uint32_t>(pFrom - vPositions.pData);
    }
    while (u < uEnd && vPositions[u] <= fPos) ++u;
    return u;
}

void KDTreeSplitSearch::count(const SplitFrame& frame, uint32_t uCount) {
    for (uint32_t u = 0; u <= vPositions.uSize; ++u) vLeft[u] = vRight[u] = 0;
    vRight[0] = uCount;
    for (uint32_t u = 0; u < uCount; ++u) {
        const uint32_t uLowSure = bins.faces.pLowSure[u], uHighSure = bins.faces.pHighSure[u];
        const uint32_t uHighEnd = std::max<uint32_t>(bins.faces.pHighMaybe[u], uLowSure);
        if (bins.isAnyChosen(bins.faces.pLowMaybe[u], uLowSure) || bins.isAnyChosen(uHighSure, uHighEnd)) {
            --bins.lowSure(uLowSure);
            --bins.highSure(uHighSure);
            countFace(frame, u);
        }
    }
    // The others turn between the candidates.
    for (uint32_t u = 0; u <= bins.bins(); ++u) {
        vLeft[uFirst[u]] += bins.lowSure(u);
        vRight[uFirst[u]] -= bins.highSure(u);
    }
}

void KDTreeSplitSearch::countFace(const SplitFrame& frame, uint32_t u) {
    const float fLowMaybe = steps.pLowMaybe[u], fLowSure = steps.pLowSure[u];
    const uint32_t uLowSure = firstFrom(fLowSure, bins.faces.pLowSure[u]);
    const uint32_t uHighEnd = firstAfter(steps.pHighSure[u], bins.faces.pHighSure[u]);
    --vRight[uHighEnd];
    const auto addOne = [](Velk::NDataVector<uint32_t>& vCounts, uint32_t uAt) {
        ++vCounts[uAt];
        --vCounts[uAt + 1];
    };
    // Unmarked, the low answer open.
    if (fLowMaybe < fLowSure) {
        const uint32_t uEnd = std::min(uLowSure, uHighEnd);
        for (uint32_t j = firstFrom(fLowMaybe, bins.faces.pLowMaybe[u]); j < uEnd; ++j) {
            if (overlapsLow(frame, u, vPositions[j])) addOne(vLeft, j);
        }
    }
    // The high answer, and so the mark, open.
    const bool bLowOpen = uLowSure > uHighEnd;
    uint32_t uOpenEnd = bLowOpen ? uLowSure : uHighEnd;
    if (steps.pHighMaybe[u] > steps.pHighSure[u]) {
        uOpenEnd = std::max(uOpenEnd, firstAfter(steps.pHighMaybe[u], bins.faces.pHighMaybe[u]));
    }
    bool bMarked = false;
    for (uint32_t j = uHighEnd; j < uOpenEnd; ++j) {
        const float p = vPositions[j];
        if (bLowOpen && (bMarked || p >= fLowSure || isLow(frame, u, p))) addOne(vLeft, j);
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
