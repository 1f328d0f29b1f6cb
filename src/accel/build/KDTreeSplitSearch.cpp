// Searches for a node's split: first by bins, then candidate by candidate.
#include "accel/build/KDTreeSplitSearch.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "accel/build/SmallSplit.h"
#include "base/LargeBlock.h"
#include "base/NewArray.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr float SMALLEST_AREA = 1e-25f;   // of a box for which costs can be bounded
constexpr int32_t FEW_CANDIDATES = 8;     // up to this number, linear search and branchless sorting
constexpr uint32_t SMALL_ROOM = 1 << 15;  // faces for which it costs more to give room back than to keep it
constexpr uint64_t LARGEST_ROOM = 2;      // times the faces that it is for

// Sorts the candidates of a bin. Usually these are few, so no branches are used.
void sortBin(float* pBegin, float* pEnd) {
    if (pEnd - pBegin > FEW_CANDIDATES) {
        std::sort(pBegin, pEnd);
        return;
    }
    for (; pEnd - pBegin > 1; --pEnd) {
        for (float* p = pBegin + 1; p < pEnd; ++p) {
            const float a = p[-1], b = p[0];
            p[-1] = a < b ? a : b;
            p[0] = a < b ? b : a;
        }
    }
}

}  // namespace

uint64_t KDTreeSplitSearch::bytesFor(uint32_t uFaces) {
    constexpr size_t VALUES = OverlapThresholds::ARRAYS * (sizeof(float) + sizeof(int16_t)) + 2 * sizeof(uint32_t);
    return uint64_t{uFaces} * (sizeof(FaceCorners) + VALUES);
}

bool KDTreeSplitSearch::create(const Scene& scene) {
    const uint32_t uFaces = scene.vFaces.uCount;
    ownCorners.reset(Velk::newArray<FaceCorners>(uFaces));
    if (!ownCorners || reserve(uFaces)) return true;
    Velk::preferLargePages(ownCorners.get(), uFaces * sizeof(FaceCorners));
    pCorners = ownCorners.get();
    const auto isInRange = [](const NMVector3f& v) {
        return std::fabs(v.x) < OverlapThresholds::LARGEST && std::fabs(v.y) < OverlapThresholds::LARGEST &&
               std::fabs(v.z) < OverlapThresholds::LARGEST;
    };
    bInRange = isInRange(scene.boxScene.v3Min) && isInRange(scene.boxScene.v3Max);
    for (uint32_t u = 0; u < uFaces; ++u) {
        const FaceData& face = scene.vFaces[u];
        ownCorners[u] = {{face.pA->v3Position, face.pB->v3Position, face.pC->v3Position}};
        for (const NMVector3f& v : ownCorners[u].v3Corner) bInRange &= isInRange(v);
    }
    return false;
}

bool KDTreeSplitSearch::reserve(uint32_t uFaces) {
    if (uFaces <= uMostFaces && uMostFaces <= std::max<uint64_t>(SMALL_ROOM, LARGEST_ROOM * uFaces)) return false;
    uMostFaces = 0;
    pNumbers.reset();  // first, so that there are never two of them
    pValues.reset();
    pBins.reset();
    const size_t uRoom = (size_t{uFaces} + NodeFrame::UNIT - 1) / NodeFrame::UNIT * NodeFrame::UNIT;
    pNumbers.reset(Velk::newArray<uint32_t>(2 * uRoom));
    pValues.reset(Velk::newArray<float>(OverlapThresholds::ARRAYS * uRoom));
    pBins.reset(Velk::newArray<int16_t>(OverlapThresholds::ARRAYS * uRoom));
    if (!pNumbers || !pValues || !pBins) return true;
    Velk::preferLargePages(pValues.get(), OverlapThresholds::ARRAYS * uRoom * sizeof(float));
    thresholds.pFace = pNumbers.get();
    bins.pActive = pNumbers.get() + uRoom;
    thresholds.divide(pValues.get(), uRoom);
    bins.faces.divide(pBins.get(), uRoom);
    uMostFaces = uFaces;
    return false;
}

bool KDTreeSplitSearch::find(const SplitFrame& frame, uint32_t uCount, bool bOverlapKnown, Split& split) {
    assert(uCount > 0 && vPositions.uSize <= vPositions.uCapacity);
    if (isStopped(pStop)) return true;
    node = frame.forKernels();
    node.bOverlapKnown = bOverlapKnown;
    node.bInRange = bInRange;
    kernel.measure(node, &pCorners[0].v3Corner[0].x, thresholds.pFace, uCount, thresholds);
    if (isStopped(pStop)) return true;
    bBounded = bInRange && SplitFrame::halfArea(frame.box) > SMALLEST_AREA;
    if (!findAmongFew(frame, uCount, split) && findByBins(frame, uCount, split)) return true;
    if (split.fPos == 0.0f) split.fPos = firstZero(frame, uCount);
    return false;
}

// False when the node is not small, or when its thresholds alone do not decide.
bool KDTreeSplitSearch::findAmongFew(const SplitFrame& frame, uint32_t uCount, Split& split) const {
    if (!bBounded || !SmallSplit::isSmall(uCount)) return false;
    SmallSplit small(frame);
    const auto add = [&](float f) { small.addCandidate(f, frame.fLow <= f && f <= frame.fHigh); };
    for (uint32_t u = 0; u < uCount; ++u) {
        small.addFace(thresholds, u);
        add(thresholds.pMin[u]);
        add(thresholds.pMid[u]);
        add(thresholds.pMax[u]);
    }
    return small.find(&split);
}

bool KDTreeSplitSearch::findByBins(const SplitFrame& frame, uint32_t uCount, Split& split) {
    bins.fill(frame, thresholds, uCount, bBounded);
    split = {0.0f, std::numeric_limits<float>::infinity()};
    if (!bins.choose(frame, uCount)) return false;
    if (isStopped(pStop) || collectCandidates() || isStopped(pStop)) return true;
    count(frame, uCount);
    split = cheapest(frame);
    return false;
}

// Collects the candidates of the window, sorted and without duplicates.
bool KDTreeSplitSearch::collectCandidates() {
    // A bucket sort: each bin has its own range of the array. Candidates outside the window all go to one spare element
    // behind the ranges.
    const uint32_t uBegin = bins.first(), uBins = bins.end() - uBegin;
    uint32_t uPlaces = 0;
    for (uint32_t u = 0; u < uBins; ++u) {
        uNext[u] = uPlaces;
        uPlaces += bins.candidates(uBegin + u);
    }
    uNext[uBins] = uPlaces;
    if (uPlaces >= vPositions.uCapacity && makeRoom(uPlaces + uPlaces / 2 + 1)) return true;
    float* const pPositions = vPositions.pData;
    const auto put = [&](float f, int16_t iBin) {
        const uint32_t uBin = std::min(static_cast<uint32_t>(iBin) - uBegin, uBins);
        pPositions[uNext[uBin]] = f;
        uNext[uBin] += uBin < uBins;
    };
    for (uint32_t i = 0; i < bins.uActive; ++i) {
        const uint32_t u = bins.pActive[i];
        put(thresholds.pMin[u], bins.faces.pMin[u]);
        put(thresholds.pMid[u], bins.faces.pMid[u]);
        put(thresholds.pMax[u], bins.faces.pMax[u]);
    }
    uint32_t uEnd = 0, uPlace = 0;
    float fLast = std::numeric_limits<float>::quiet_NaN();
    for (uint32_t u = 0; u < uBins; ++u) {
        uFirst[u] = uEnd;
        sortBin(pPositions + uPlace, pPositions + uNext[u]);
        for (; uPlace < uNext[u]; ++uPlace) {
            const float f = pPositions[uPlace];
            pPositions[uEnd] = f;
            uEnd += f != fLast;
            fLast = f;
        }
    }
    uFirst[uBins] = uEnd;
    vPositions.uSize = uEnd;
    return false;
}

bool KDTreeSplitSearch::makeRoom(uint32_t uCandidates) {
    for (auto* p : {&vLeft, &vRight}) {
        if (p->create(uCandidates, 0)) return true;
    }
    return vPositions.create(uCandidates, 0);
}

// The index of the first candidate >= fPos. iBin is the bin of fPos.
uint32_t KDTreeSplitSearch::firstFrom(float fPos, int16_t iBin) const {
    const uint32_t uBin = static_cast<uint32_t>(iBin);
    if (uBin < bins.first()) return 0;
    if (uBin >= bins.end()) return vPositions.uSize;
    uint32_t u = uFirst[uBin - bins.first()];
    const uint32_t uEnd = uFirst[uBin - bins.first() + 1];
    if (uEnd - u > uint32_t{FEW_CANDIDATES}) {
        const float* pFrom = std::lower_bound(vPositions.pData + u, vPositions.pData + uEnd, fPos);
        return static_cast<uint32_t>(pFrom - vPositions.pData);
    }
    while (u < uEnd && vPositions[u] < fPos) ++u;
    return u;
}

// The index of the first candidate > fPos. iBin is the bin of fPos.
uint32_t KDTreeSplitSearch::firstAfter(float fPos, int16_t iBin) const {
    uint32_t u = firstFrom(fPos, iBin);
    if (u < vPositions.uSize && vPositions[u] == fPos) ++u;
    return u;
}

void KDTreeSplitSearch::count(const SplitFrame& frame, uint32_t uCount) {
    for (uint32_t u = 0; u <= vPositions.uSize; ++u) vLeft[u] = vRight[u] = 0;
    vLeft[0] = bins.lowBefore();
    vRight[0] = uCount - bins.highBefore();
    for (uint32_t i = 0; i < bins.uActive; ++i) countFace(frame, bins.pActive[i]);
}

void KDTreeSplitSearch::countFace(const SplitFrame& frame, uint32_t u) {
    const int32_t iBegin = static_cast<int32_t>(bins.first());
    // The face counts as high up to here: up to the first miss, which marks it, or up to its end.
    uint32_t uHighEnd = firstAfter(thresholds.pHighSure[u], bins.faces.pHighSure[u]);
    vRight[uHighEnd] += bins.faces.pHighSure[u] < iBegin;  // the others are counted already
    uint32_t uMark = vPositions.uSize;
    if (thresholds.pHighMaybe[u] > thresholds.pHighSure[u]) {
        const uint32_t uOpenEnd = firstAfter(thresholds.pHighMaybe[u], bins.faces.pHighMaybe[u]);
        uHighEnd = firstHighMiss(u, uHighEnd, uOpenEnd);
    }
    if (thresholds.pMin[u] <= frame.fHigh && uHighEnd < vPositions.uSize &&
        vPositions[uHighEnd] <= thresholds.pMax[u]) {
        uMark = uHighEnd;
    }
    --vRight[uHighEnd];
    // From here on it counts as low without a test.
    const uint32_t uLowSure = std::min(firstFrom(thresholds.pLowSure[u], bins.faces.pLowSure[u]), uMark + 1);
    if (thresholds.pLowMaybe[u] < thresholds.pLowSure[u])
        countLow(u, firstFrom(thresholds.pLowMaybe[u], bins.faces.pLowMaybe[u]), uLowSure);
    vLeft[uLowSure] += bins.faces.pLowSure[u] >= iBegin;
}

// Counts the face as low at those candidates of a range whose low part it overlaps.
void KDTreeSplitSearch::countLow(uint32_t u, uint32_t uBegin, uint32_t uEnd) {
    const float* pFace = &pCorners[thresholds.pFace[u]].v3Corner[0].x;
    while (uBegin < uEnd) {
        uBegin = kernel.firstOverlap(node, pFace, false, vPositions.pData, uBegin, uEnd);
        if (uBegin == uEnd) return;
        ++vLeft[uBegin];
        uBegin = kernel.firstMiss(node, pFace, false, vPositions.pData, uBegin, uEnd);
        --vLeft[uBegin];
    }
}

uint32_t KDTreeSplitSearch::firstHighMiss(uint32_t u, uint32_t uBegin, uint32_t uEnd) const {
    if (uBegin >= uEnd) return uBegin;
    return kernel.firstMiss(node, &pCorners[thresholds.pFace[u]].v3Corner[0].x, true, vPositions.pData, uBegin, uEnd);
}

Split KDTreeSplitSearch::cheapest(const SplitFrame& frame) const {
    Split best{0.0f, std::numeric_limits<float>::infinity()};
    uint32_t uLeft = 0, uRight = 0;
    for (uint32_t u = 0; u < vPositions.uSize; ++u) {
        uLeft += vLeft[u];
        uRight += vRight[u];
        const float fCost = frame.cost(vPositions[u], uLeft, uRight);
        if (fCost < best.fCost) best = {vPositions[u], fCost};
    }
    return best;
}

// Of equal candidates the first in the face list is taken. This matters only for zeros, whose signs may differ.
float KDTreeSplitSearch::firstZero(const SplitFrame& frame, uint32_t uCount) const {
    for (uint32_t u = 0; u < uCount; ++u) {
        for (const NMVector3f& v : pCorners[thresholds.pFace[u]].v3Corner) {
            if (v[frame.uAxis] == 0.0f) return v[frame.uAxis];
        }
    }
    return 0.0f;
}

bool KDTreeSplitSearch::overlapsLow(const SplitFrame& frame, uint32_t u, float fPos) const {
    return SplitFrame::overlaps(pCorners[thresholds.pFace[u]].v3Corner, frame.lowPart(fPos));
}

bool KDTreeSplitSearch::overlapsHigh(const SplitFrame& frame, uint32_t u, float fPos) const {
    return SplitFrame::overlaps(pCorners[thresholds.pFace[u]].v3Corner, frame.highPart(fPos));
}

}  // namespace rt
