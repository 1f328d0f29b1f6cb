#pragma once

#include <cstdint>

#include "accel/FaceSteps.h"
#include "accel/SplitFrame.h"

/// The candidates of a node in equal intervals of the split axis, and which intervals can hold the cheapest.
///
/// A face's counts change at its steps only, and costs grow with counts and areas. So the faces whose steps lie in the
/// bins before and after one bound the cost of every candidate in it, from below and from above. A bin whose lower
/// bound is above some other's upper bound, or above the cost of a leaf, cannot hold the choice, and nothing more needs
/// to be known of its candidates.
class SplitBins {
 public:
    static constexpr uint32_t MAX_BINS = 1024;

    /// The bin of each value of each face; bins() stands for "behind the box", for a vertex also "no candidate". Made
    /// by the owner, with room for a whole last unit.
    FaceValues<uint16_t> faces{};

    /// Sorts uCount faces into bins.
    void fill(const SplitFrame& frame, const FaceValues<float>& steps, uint32_t uCount, bool bTame);

    /// Chooses the bins whose candidates must be looked at: all that may hold the cheapest candidate at a cost of at
    /// most uCount, and those needed to know the marks there. False when there are none.
    bool choose(const SplitFrame& frame, uint32_t uCount);

    uint32_t bins() const { return uBins; }
    bool isChosen(uint32_t uBin) const { return bChosen[uBin] != 0; }
    /// True when a bin from uFirst to uLast is chosen.
    bool isAnyChosen(uint32_t uFirst, uint32_t uLast) const {
        return uChosenBefore[uLast + 1] != uChosenBefore[uFirst];
    }

    /// Vertices in a bin, repetitions included.
    uint32_t candidates(uint32_t uBin) const { return pCandidates[uBin]; }

    /// Faces by the bin of their steps.
    uint32_t& lowSure(uint32_t uBin) { return pLowSure[uBin]; }
    uint32_t& highSure(uint32_t uBin) { return pHighSure[uBin]; }

 private:
    void place(const FaceValues<float>& steps, uint32_t uCount);
    void chooseCheap(const SplitFrame& frame, uint32_t uCount);
    void addMarkHistory(uint32_t uCount);
    bool countChosen();

    uint32_t uBins = 1;
    float fLow = 0.0f, fHigh = 0.0f, fScale = 0.0f;
    bool bHistory = false;  // the marks of some face depend on more than one bin
    uint32_t uCounts[5 * (MAX_BINS + 1)];
    uint32_t *pCandidates = nullptr, *pLowMaybe = nullptr, *pLowSure = nullptr;  // rows of uCounts
    uint32_t *pHighSure = nullptr, *pHighMaybe = nullptr;
    uint8_t bChosen[MAX_BINS + 1];
    uint32_t uChosenBefore[MAX_BINS + 2];
};
