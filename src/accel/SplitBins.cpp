#include "accel/SplitBins.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr uint32_t FEW_FACES = 8;  // all their candidates are looked at

}  // namespace

void SplitBins::fill(const SplitFrame& frame, const FaceSteps& steps, uint32_t uCount, bool bTame) {
    fLow = frame.fLow;
    fHigh = frame.fHigh;
    const float fArea = SplitFrame::halfArea(frame.box);
    uBins = 1;
    if (bTame && fArea > 1e-25f && uCount > FEW_FACES) {
        while (uBins < 2 * uCount && uBins < MAX_BINS) uBins *= 2;
    }
    fScale = static_cast<float>(uBins) / (fHigh - fLow);
    if (uBins == 1 || !(fScale < 1e25f)) {
        uBins = 1;
        fScale = 0.0f;
    }
    fLastBin = static_cast<float>(uBins - 1);
    bHistory = false;
    for (uint32_t* p : {uCandidates, uLowMaybe, uLowSure, uHighSure, uHighMaybe}) {
        memset(p, 0, (uBins + 1) * sizeof(uint32_t));
    }
    for (uint32_t u = 0; u < uCount; ++u) {
        const float* const pVertex[3] = {steps.pMin + u, steps.pMid + u, steps.pMax + u};
        FaceBins& face = pFaces[u];
        for (unsigned k = 0; k < 3; ++k) {
            face.uVertex[k] = static_cast<uint16_t>(*pVertex[k] >= fLow ? of(*pVertex[k]) : uBins);
            ++uCandidates[face.uVertex[k]];
        }
        face.uLowMaybe = static_cast<uint16_t>(of(steps.pLowMaybe[u]));
        face.uLowSure = static_cast<uint16_t>(of(steps.pLowSure[u]));
        face.uHighSure = static_cast<uint16_t>(of(steps.pHighSure[u]));
        face.uHighMaybe = static_cast<uint16_t>(of(steps.pHighMaybe[u]));
        ++uLowMaybe[std::min(face.uLowMaybe, face.uHighSure)];
        ++uLowSure[face.uLowSure];
        ++uHighSure[face.uHighSure];
        ++uHighMaybe[face.uHighMaybe];
        bHistory |= face.uHighSure < std::max(face.uHighMaybe, face.uLowSure);
    }
    uCandidates[uBins] = 0;
}

bool SplitBins::choose(const SplitFrame& frame, uint32_t uCount) {
    bChosen[uBins] = 0;
    if (uBins == 1) {
        bChosen[0] = uCandidates[0] != 0;
        return countChosen();
    }
    if (!chooseCheap(frame, uCount)) return false;
    if (bHistory) addMarkHistory(uCount);
    return true;
}

// Every candidate of a bin costs at least what the bin's low end and its surely counted faces give, and at most what
// its high end and all possible ones give.
bool SplitBins::chooseCheap(const SplitFrame& frame, uint32_t uCount) {
    const float fEnd = SplitFrame::halfArea(frame.lowPart(frame.fLow)), fWhole = SplitFrame::halfArea(frame.box);
    const float fSlope = (fWhole - fEnd) / static_cast<float>(uBins);  // area a bin
    const float fInverse = 1.0f / fWhole;
    float fFloor[MAX_BINS];
    float fLimit = static_cast<float>(uCount);
    uint32_t uLeft = 0, uLeftMaybe = 0, uRight = uCount, uRightMaybe = uCount;
    for (uint32_t u = 0; u < uBins; ++u) {
        uLeftMaybe += uLowMaybe[u];
        uRight -= uHighSure[u];
        const float fLowArea = fEnd + fSlope * static_cast<float>(u);
        const float fHighArea = fEnd + fSlope * static_cast<float>(uBins - u);
        fFloor[u] = (fLowArea * static_cast<float>(static_cast<int32_t>(uLeft)) +
                     (fHighArea - fSlope) * static_cast<float>(static_cast<int32_t>(uRight))) *
                        fInverse +
                    SplitFrame::TRAVERSAL_COST;
        const float fCeiling = ((fLowArea + fSlope) * static_cast<float>(static_cast<int32_t>(uLeftMaybe)) +
                                fHighArea * static_cast<float>(static_cast<int32_t>(uRightMaybe))) *
                                   fInverse +
                               SplitFrame::TRAVERSAL_COST;
        if (uCandidates[u]) fLimit = std::min(fLimit, fCeiling);
        uLeft += uLowSure[u];
        uRightMaybe -= uHighMaybe[u];
    }
    fLimit += static_cast<float>(uCount) * 0x1p-16f;
    for (uint32_t u = 0; u < uBins; ++u) bChosen[u] = uCandidates[u] != 0 && fFloor[u] <= fLimit;
    return countChosen();
}

bool SplitBins::countChosen() {
    uChosenBefore[0] = 0;
    for (uint32_t u = 0; u <= uBins; ++u) uChosenBefore[u + 1] = uChosenBefore[u] + bChosen[u];
    return uChosenBefore[uBins] != 0;
}

void SplitBins::addMarkHistory(uint32_t uCount) {
    uint32_t uLastChosen[MAX_BINS];   // chosen bin at or before this one
    uint32_t uMissing[MAX_BINS + 1];  // bins with candidates before this one that are not chosen
    int32_t iCover[MAX_BINS + 1];
    for (bool bChanged = true; bChanged;) {
        bChanged = false;
        uMissing[0] = 0;
        for (uint32_t u = 0, uLast = 0; u < uBins; ++u) {
            if (bChosen[u]) uLast = u;
            uLastChosen[u] = uLast;
            uMissing[u + 1] = uMissing[u] + (uCandidates[u] != 0 && !bChosen[u]);
            iCover[u] = 0;
        }
        for (uint32_t u = 0; u < uCount; ++u) {
            const FaceBins& face = pFaces[u];
            const uint32_t uFirst = face.uHighSure;
            const uint32_t uLast = std::min<uint32_t>(std::max(face.uHighMaybe, face.uLowSure), uBins - 1);
            if (uFirst >= uLast) continue;
            const uint32_t uChosen = uLastChosen[uLast];
            if (uChosen <= uFirst || uMissing[uChosen] == uMissing[uFirst]) continue;
            ++iCover[uFirst];
            --iCover[uChosen];
            bChanged = true;
        }
        int32_t iCovered = 0;
        for (uint32_t u = 0; u < uBins && bChanged; ++u) {
            iCovered += iCover[u];
            if (iCovered && uCandidates[u]) bChosen[u] = 1;
        }
    }
    countChosen();
}
