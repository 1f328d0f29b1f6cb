#pragma once

#include <cstdint>
#include <memory>

#include "accel/FaceSteps.h"
#include "accel/SplitFrame.h"

/// The candidates of a node in equal intervals of the split axis, and which intervals can hold the cheapest.
class SplitBins {
 public:
    static constexpr uint32_t MAX_BINS = 1024;

    /// The bins of one face's values; bin uBins() stands for "behind the box", for a vertex also "no candidate".
    struct FaceBins {
        uint16_t uVertex[3];
        uint16_t uLowMaybe, uLowSure, uHighSure, uHighMaybe;
    };

    std::unique_ptr<FaceBins[]> pFaces;  // room for every face of the node, made by the owner

    /// Sorts the faces into bins. bTame as for FaceSteps.
    void fill(const SplitFrame& frame, const FaceSteps& steps, uint32_t uCount, bool bTame);

    /// Chooses the bins whose candidates must be looked at: all that may hold the cheapest candidate of at most uCount,
    /// and those needed to know the marks there. False when there are none.
    bool choose(const SplitFrame& frame, uint32_t uCount);

    uint32_t bins() const { return uBins; }
    bool isChosen(uint32_t uBin) const { return bChosen[uBin] != 0; }
    /// True when a bin from uFirst to uLast is chosen.
    bool isAnyChosen(uint32_t uFirst, uint32_t uLast) const {
        return uChosenBefore[uLast + 1] != uChosenBefore[uFirst];
    }

    uint32_t of(float f) const {
        float fBin = (f - fLow) * fScale;
        fBin = fBin > 0.0f ? fBin : 0.0f;
        fBin = fBin < fLastBin ? fBin : fLastBin;
        return f > fHigh ? uBins : static_cast<uint32_t>(static_cast<int32_t>(fBin));
    }

    uint32_t uCandidates[MAX_BINS + 1];  // with repetitions
    uint32_t uLowSure[MAX_BINS + 1];     // faces by the bin of each step
    uint32_t uHighSure[MAX_BINS + 1];

 private:
    bool chooseCheap(const SplitFrame& frame, uint32_t uCount);
    void addMarkHistory(uint32_t uCount);
    bool countChosen();

    uint32_t uBins = 1;
    float fLow = 0.0f, fHigh = 0.0f, fScale = 0.0f, fLastBin = 0.0f;
    bool bHistory = false;  // some face's marks depend on more than one bin
    uint32_t uLowMaybe[MAX_BINS + 1];
    uint32_t uHighMaybe[MAX_BINS + 1];
    uint8_t bChosen[MAX_BINS + 1];
    uint32_t uChosenBefore[MAX_BINS + 2];
};
