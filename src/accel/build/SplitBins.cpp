// Fills bins, bounds their costs and chooses the window. Why it is exact: docs/building.md, "Bins".
#include "accel/build/SplitBins.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>

#include "base/simd/Float4.h"

namespace rt {

namespace {

constexpr uint32_t FEW_FACES = 4;  // with so few faces every candidate is counted; more faces get eight bins or more

using Shorts = int16_t __attribute__((vector_size(16)));

template <typename T>
T load(const void* p) {
    T values;
    memcpy(&values, p, sizeof(values));
    return values;
}

Float4 counts(const int32_t* p) {
    return Float4::from(load<Int4>(p));
}

// Maps a unit of values to their bins. Rounding is monotone, so bins have the order of the values.
class BinMapper {
 public:
    BinMapper(float fLow, float fHigh, float fScale, uint32_t uBins)
        : low(fLow), high(fHigh), scale(fScale), last(static_cast<float>(uBins - 1)) {}

    void map(const float* pValues, int16_t* pBins) const {
        // Keeps the low 16 bits of each of the eight numbers.
        constexpr int LOW = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 1;
        const Shorts bins =
            __builtin_shufflevector(reinterpret_cast<Shorts>(binOf(Float4::loadUnaligned(pValues))),
                                    reinterpret_cast<Shorts>(binOf(Float4::loadUnaligned(pValues + 4))), LOW, LOW + 2,
                                    LOW + 4, LOW + 6, LOW + 8, LOW + 10, LOW + 12, LOW + 14);
        memcpy(pBins, &bins, sizeof(bins));
    }

 private:
    static_assert(NodeFrame::UNIT == 8, "two rows of lanes");

    Int4 binOf(Float4 value) const {
        const Float4 bin = min(max((value - low) * scale, 0.0f), last);
        return toInts(bin) + 1 - (value > high).m + (value < low).m;
    }

    Float4 low, high, scale, last;
};

}  // namespace

void SplitBins::chooseBins(const SplitFrame& frame, uint32_t uCount, bool bBounded) {
    fLow = frame.fLow;
    fHigh = frame.fHigh;
    uBins = 1;
    if (bBounded && uCount > FEW_FACES) {
        while (uBins < uCount && uBins < MAX_BINS) uBins *= 2;
        fScale = static_cast<float>(uBins) / (fHigh - fLow);
        if (!(fScale < 1e25f)) uBins = 1;
    }
    if (uBins == 1) fScale = 0.0f;
    const uint32_t uRow = uBins + 2;
    pCandidates = uCounts;
    pLowMaybe = pCandidates + uRow;
    pLowSure = pLowMaybe + uRow;
    pHighSure = pLowSure + uRow;
    pHighMaybe = pHighSure + uRow;
    memset(uCounts, 0, 5 * uRow * sizeof(uint32_t));
}

void SplitBins::fill(const SplitFrame& frame, const FaceValues<float>& thresholds, uint32_t uCount, bool bBounded) {
    chooseBins(frame, uCount, bBounded);
    const BinMapper mapper(fLow, fHigh, fScale, uBins);
    for (uint32_t u = 0; u < uCount; u += NodeFrame::UNIT) {
        mapper.map(thresholds.pMin + u, faces.pMin + u);
        mapper.map(thresholds.pMid + u, faces.pMid + u);
        mapper.map(thresholds.pMax + u, faces.pMax + u);
        mapper.map(thresholds.pLowMaybe + u, faces.pLowMaybe + u);
        mapper.map(thresholds.pLowSure + u, faces.pLowSure + u);
        mapper.map(thresholds.pHighSure + u, faces.pHighSure + u);
        mapper.map(thresholds.pHighMaybe + u, faces.pHighMaybe + u);
    }
    for (uint32_t u = 0; u < uCount; ++u) {
        ++pCandidates[faces.pMin[u]];
        ++pCandidates[faces.pMid[u]];
        ++pCandidates[faces.pMax[u]];
        ++pLowMaybe[std::min(faces.pLowMaybe[u], faces.pHighSure[u])];  // above pHighSure it may be marked, and so low
        ++pLowSure[faces.pLowSure[u]];
        ++pHighSure[faces.pHighSure[u]];
        ++pHighMaybe[faces.pHighMaybe[u]];
    }
}

bool SplitBins::choose(const SplitFrame& frame, uint32_t uCount) {
    if (uBins == 1) {
        if (!pCandidates[1]) return false;
        uFirst = 1;
        uEnd = 2;
    } else if (!chooseCheapBins(frame, uCount)) {
        return false;
    }
    for (uint32_t uNeeded = listActive(uCount); uNeeded < uFirst; uNeeded = listActive(uCount)) uFirst = uNeeded;
    return true;
}

// A bin's area comes from a common step, not from its box, so the bounds are off by a few roundings of costs of up to
// twice the number of faces. A limit raised by 2^-16 of that number covers them.
bool SplitBins::chooseCheapBins(const SplitFrame& frame, uint32_t uCount) {
    assert(uBins % 4 == 0);
    const float fEnd = SplitFrame::halfArea(frame.lowPart(frame.fLow)), fWhole = SplitFrame::halfArea(frame.box);
    const float fInverse = 1.0f / fWhole, fStart = fEnd * fInverse;
    const float fStep = (fWhole - fEnd) * fInverse / static_cast<float>(uBins);  // area of a bin relative to the node's
    uint32_t uLeft = 0, uLeftMaybe = pLowMaybe[0], uRight = uCount - pHighSure[0], uRightMaybe = uCount;
    for (uint32_t u = 0; u < uBins; ++u) {
        uLeft += pLowSure[u];
        uLeftMaybe += pLowMaybe[u + 1];
        uRight -= pHighSure[u + 1];
        uRightMaybe -= pHighMaybe[u];
        iLeft[0][u] = static_cast<int32_t>(uLeft);
        iLeft[1][u] = static_cast<int32_t>(uLeftMaybe);
        iRight[0][u] = static_cast<int32_t>(uRight);
        iRight[1][u] = static_cast<int32_t>(uRightMaybe);
    }
    const float fFaces = static_cast<float>(uCount);
    const Float4 none = std::numeric_limits<float>::infinity();
    Float4 limits = fFaces - SplitFrame::TRAVERSAL_COST;
    // Empty bins set no limit and are never chosen.
    for (uint32_t u = 0; u < uBins; u += 4) {
        const Int4 bin = static_cast<int32_t>(u) + Int4{0, 1, 2, 3};
        const Float4 low = fStart + fStep * Float4::from(bin);
        const Float4 high = fStart + fStep * Float4::from(static_cast<int32_t>(uBins) - bin);
        const Float4::Mask bEmpty = {load<Int4>(pCandidates + u + 1) == 0};
        const Float4 floor = low * counts(iLeft[0] + u) + (high - fStep) * counts(iRight[0] + u);
        const Float4 ceiling = (low + fStep) * counts(iLeft[1] + u) + high * counts(iRight[1] + u);
        select(bEmpty, none, floor).storeUnaligned(fFloor + u);
        limits = min(select(bEmpty, none, ceiling), limits);
    }
    const float fLimit = smallest(limits) + fFaces * 0x1p-16f;
    uint32_t uLow = 0, uHigh = uBins;
    while (uLow < uBins && !(fFloor[uLow] <= fLimit)) ++uLow;
    while (uHigh > uLow && !(fFloor[uHigh - 1] <= fLimit)) --uHigh;
    uFirst = uLow + 1;
    uEnd = uHigh + 1;
    return uFirst < uEnd;
}

// Lists the active faces. Returns where the window must begin: a face may be marked at any candidate p > highSure, and
// its mark matters at p <= highMaybe (is it still counted high?) and at p < lowSure (is it counted low untested?). When
// such a p is in the window, all candidates from highSure to there must be.
uint32_t SplitBins::listActive(uint32_t uCount) {
    const Shorts zero{}, first = static_cast<int16_t>(uFirst) + zero, end = static_cast<int16_t>(uEnd) + zero;
    Shorts needed = first;
    uActive = 0;
    for (uint32_t u = 0; u < uCount; u += NodeFrame::UNIT) {
        const Shorts lowSure = load<Shorts>(faces.pLowSure + u), highSure = load<Shorts>(faces.pHighSure + u);
        const Shorts highMaybe = load<Shorts>(faces.pHighMaybe + u);
        const Shorts markEnd = highMaybe > lowSure ? highMaybe : lowSure;
        const Shorts earlier = (highSure < needed) & (markEnd >= first);
        needed = earlier ? highSure : needed;
        Shorts touched = (load<Shorts>(faces.pLowMaybe + u) < end) & (lowSure >= first);
        touched |= (highSure < end) & (markEnd >= first);
        for (const int16_t* pVertex : {faces.pMin + u, faces.pMid + u, faces.pMax + u}) {
            const Shorts vertex = load<Shorts>(pVertex);
            touched |= (vertex < end) & (vertex >= first);
        }
        const uint32_t uLanes = std::min(uCount - u, NodeFrame::UNIT);
        for (uint32_t i = 0; i < uLanes; ++i) {
            pActive[uActive] = u + i;
            uActive += touched[i] != 0;
        }
    }
    int16_t iNeeded = needed[0];
    for (unsigned i = 1; i < NodeFrame::UNIT; ++i) iNeeded = std::min<int16_t>(iNeeded, needed[i]);
    return static_cast<uint32_t>(std::max<int16_t>(iNeeded, 1));
}

uint32_t SplitBins::sumBefore(const uint32_t* pCounts) const {
    uint32_t uSum = 0;
    for (uint32_t u = 0; u < uFirst; ++u) uSum += pCounts[u];
    return uSum;
}

}  // namespace rt
