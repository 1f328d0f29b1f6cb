#include "accel/SplitBins.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr uint32_t FEW_FACES = 4;  // all their candidates are looked at

// Puts a unit of values into bins. Rounding keeps the order of values, so bins are in order, too.
class Placement {
 public:
    Placement(float fLow, float fHigh, float fScale, uint32_t uBins)
        : low(all(fLow)), high(all(fHigh)), scale(all(fScale)), last(all(static_cast<float>(uBins - 1))) {
        const int32_t iBins = static_cast<int32_t>(uBins);
        behind = Numbers{iBins, iBins, iBins, iBins};
    }

    void placeSteps(const float* pValues, uint16_t* pBins) const {
        store(binOf(load(pValues)), binOf(load(pValues + 4)), pBins);
    }

    // Vertices before the box are no candidates and go behind it.
    void placeVertices(const float* pValues, uint16_t* pBins) const {
        const Lanes a = load(pValues), b = load(pValues + 4);
        store(binOf(a) | ((a < low) & behind), binOf(b) | ((b < low) & behind), pBins);
    }

 private:
    using Lanes = float __attribute__((vector_size(16)));
    using Numbers = int32_t __attribute__((vector_size(16)));
    using Shorts = uint16_t __attribute__((vector_size(16)));
    static_assert(StepsFrame::UNIT == 8, "two rows of lanes");

    static Lanes all(float f) { return Lanes{f, f, f, f}; }

    static Lanes load(const float* p) {
        Lanes value;
        memcpy(&value, p, sizeof(value));
        return value;
    }

    static void store(Numbers a, Numbers b, uint16_t* pBins) {
        constexpr int LOW = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 1;  // half of each number
        const Shorts even = __builtin_shufflevector(reinterpret_cast<Shorts>(a), reinterpret_cast<Shorts>(b), LOW,
                                                    LOW + 2, LOW + 4, LOW + 6, LOW + 8, LOW + 10, LOW + 12, LOW + 14);
        memcpy(pBins, &even, sizeof(even));
    }

    Numbers binOf(Lanes value) const {
        const Lanes zero{}, bin = (value - low) * scale;
        const Lanes positive = bin > zero ? bin : zero;
        return __builtin_convertvector(positive < last ? positive : last, Numbers) - (value > high);
    }

    Lanes low, high, scale, last;
    Numbers behind;
};

}  // namespace

void SplitBins::fill(const SplitFrame& frame, const FaceValues<float>& steps, uint32_t uCount, bool bTame) {
    fLow = frame.fLow;
    fHigh = frame.fHigh;
    uBins = 1;
    if (bTame && uCount > FEW_FACES && SplitFrame::halfArea(frame.box) > 1e-25f) {
        while (uBins < uCount && uBins < MAX_BINS) uBins *= 2;
        fScale = static_cast<float>(uBins) / (fHigh - fLow);
        if (!(fScale < 1e25f)) uBins = 1;
    }
    if (uBins == 1) fScale = 0.0f;
    const uint32_t uRow = uBins + 1;
    pCandidates = uCounts;
    pLowMaybe = pCandidates + uRow;
    pLowSure = pLowMaybe + uRow;
    pHighSure = pLowSure + uRow;
    pHighMaybe = pHighSure + uRow;
    memset(uCounts, 0, 5 * uRow * sizeof(uint32_t));

    place(steps, uCount);
    uint32_t uHistory = 0;
    for (uint32_t u = 0; u < uCount; ++u) {
        ++pCandidates[faces.pMin[u]];
        ++pCandidates[faces.pMid[u]];
        ++pCandidates[faces.pMax[u]];
        const uint32_t uLowSure = faces.pLowSure[u], uHighSure = faces.pHighSure[u], uHighMaybe = faces.pHighMaybe[u];
        ++pLowMaybe[std::min<uint32_t>(faces.pLowMaybe[u], uHighSure)];  // a mark counts low, too
        ++pLowSure[uLowSure];
        ++pHighSure[uHighSure];
        ++pHighMaybe[uHighMaybe];
        uHistory |= uHighSure < std::max(uHighMaybe, uLowSure);
    }
    bHistory = uHistory != 0;
    pCandidates[uBins] = 0;
}

void SplitBins::place(const FaceValues<float>& steps, uint32_t uCount) {
    const Placement placement(fLow, fHigh, fScale, uBins);
    const FaceValues<uint16_t> to = faces;
    const FaceValues<float> from = steps;
    for (uint32_t u = 0; u < uCount; u += StepsFrame::UNIT) {
        placement.placeVertices(from.pMin + u, to.pMin + u);
        placement.placeVertices(from.pMid + u, to.pMid + u);
        placement.placeVertices(from.pMax + u, to.pMax + u);
        placement.placeSteps(from.pLowMaybe + u, to.pLowMaybe + u);
        placement.placeSteps(from.pLowSure + u, to.pLowSure + u);
        placement.placeSteps(from.pHighSure + u, to.pHighSure + u);
        placement.placeSteps(from.pHighMaybe + u, to.pHighMaybe + u);
    }
}

bool SplitBins::choose(const SplitFrame& frame, uint32_t uCount) {
    if (uBins > 1) {
        chooseCheap(frame, uCount);
    } else {
        bChosen[0] = pCandidates[0] != 0;
    }
    bChosen[uBins] = 0;
    if (!countChosen()) return false;
    if (uBins > 1 && bHistory) addMarkHistory(uCount);
    return true;
}

// The bounds are off by a few roundings of costs up to twice the number of faces; 2^-16 of it is more.
void SplitBins::chooseCheap(const SplitFrame& frame, uint32_t uCount) {
    const float fEnd = SplitFrame::halfArea(frame.lowPart(frame.fLow)), fWhole = SplitFrame::halfArea(frame.box);
    const float fInverse = 1.0f / fWhole, fStart = fEnd * fInverse;
    const float fStep = (fWhole - fEnd) * fInverse / static_cast<float>(uBins);  // area of a bin, by that of the node
    int32_t iLeft[2][MAX_BINS], iRight[2][MAX_BINS];                             // surely, possibly
    uint32_t uLeft = 0, uLeftMaybe = 0, uRight = uCount, uRightMaybe = uCount;
    for (uint32_t u = 0; u < uBins; ++u) {
        uLeftMaybe += pLowMaybe[u];
        uRight -= pHighSure[u];
        iLeft[0][u] = static_cast<int32_t>(uLeft);
        iLeft[1][u] = static_cast<int32_t>(uLeftMaybe);
        iRight[0][u] = static_cast<int32_t>(uRight);
        iRight[1][u] = static_cast<int32_t>(uRightMaybe);
        uLeft += pLowSure[u];
        uRightMaybe -= pHighMaybe[u];
    }
    float fFloor[MAX_BINS], fCeiling[MAX_BINS];
    for (uint32_t u = 0; u < uBins; ++u) {
        const float fAreaLow = fStart + fStep * static_cast<float>(static_cast<int32_t>(u));
        const float fAreaHigh = fStart + fStep * static_cast<float>(static_cast<int32_t>(uBins - u));
        fFloor[u] = fAreaLow * static_cast<float>(iLeft[0][u]) + (fAreaHigh - fStep) * static_cast<float>(iRight[0][u]);
        fCeiling[u] =
            (fAreaLow + fStep) * static_cast<float>(iLeft[1][u]) + fAreaHigh * static_cast<float>(iRight[1][u]);
    }
    const float fFaces = static_cast<float>(uCount);
    float fLimit = fFaces - SplitFrame::TRAVERSAL_COST;
    for (uint32_t u = 0; u < uBins; ++u) fLimit = pCandidates[u] && fCeiling[u] < fLimit ? fCeiling[u] : fLimit;
    fLimit += fFaces * 0x1p-16f;
    for (uint32_t u = 0; u < uBins; ++u) bChosen[u] = pCandidates[u] != 0 && fFloor[u] <= fLimit;
}

bool SplitBins::countChosen() {
    uint32_t uChosen = 0;
    for (uint32_t u = 0; u <= uBins; ++u) {
        uChosenBefore[u] = uChosen;
        uChosen += bChosen[u];
    }
    uChosenBefore[uBins + 1] = uChosen;
    return uChosen != 0;
}

// A face may be marked at any candidate p > highSure, and its mark matters at p <= highMaybe (is it still counted
// high?) and at p < lowSure (is it counted low without a test?). So where a candidate in between is looked at, all from
// highSure to there must be. That may add candidates in between for other faces; repeated until nothing is missing.
void SplitBins::addMarkHistory(uint32_t uCount) {
    uint32_t uLastChosen[MAX_BINS];   // at or before this bin
    uint32_t uMissing[MAX_BINS + 1];  // bins before this one that have candidates and are not chosen
    int32_t iCover[MAX_BINS];
    for (bool bChanged = true; bChanged;) {
        bChanged = false;
        uMissing[0] = 0;
        for (uint32_t u = 0, uLast = 0; u < uBins; ++u) {
            if (bChosen[u]) uLast = u;
            uLastChosen[u] = uLast;
            uMissing[u + 1] = uMissing[u] + (pCandidates[u] != 0 && !bChosen[u]);
            iCover[u] = 0;
        }
        for (uint32_t u = 0; u < uCount; ++u) {
            const uint32_t uFirst = faces.pHighSure[u];
            const uint32_t uEnd = std::min<uint32_t>(std::max(faces.pHighMaybe[u], faces.pLowSure[u]), uBins - 1);
            if (uFirst >= uEnd) continue;
            const uint32_t uLast = uLastChosen[uEnd];
            if (uLast <= uFirst || uMissing[uLast] == uMissing[uFirst]) continue;
            ++iCover[uFirst];
            --iCover[uLast];
            bChanged = true;
        }
        int32_t iCovered = 0;
        for (uint32_t u = 0; u < uBins && bChanged; ++u) {
            iCovered += iCover[u];
            if (iCovered && pCandidates[u]) bChosen[u] = 1;
        }
    }
    countChosen();
}
