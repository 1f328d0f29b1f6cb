#pragma once

#include <cstdint>

#include "accel/build/NodeFrame.h"
#include "accel/build/SplitFrame.h"

namespace rt {

/// The candidates of a node, sorted into bins of equal width, and the run of bins that can hold the cheapest one.
///
/// A face's counts change between its thresholds only, and costs grow with counts and areas. So the thresholds in the
/// bins before and after one bound the cost of every candidate in it, from below and from above. A bin whose lower
/// bound is above some other's upper bound, or above the cost of a leaf, cannot hold the choice, so its candidates are
/// skipped.
///
/// Bin 0 stands for everything before the box, bins 1 to bins() divide the box, bin bins() + 1 is behind it.
class SplitBins {
 public:
    static constexpr uint32_t MAX_BINS = 8192;

    /// The bin of each value of each face. Allocated by the owner, in whole units.
    FaceValues<int16_t> faces{};
    /// The active faces: those with a vertex or an open range in the window. Allocated by the owner for all faces.
    uint32_t* pActive = nullptr;
    uint32_t uActive = 0;

    /// Sorts uCount faces into bins. bBounded: areas are finite and not zero, so that costs can be bounded.
    void fill(const SplitFrame& frame, const FaceValues<float>& thresholds, uint32_t uCount, bool bBounded);

    /// Chooses the window: the run of bins whose candidates must be tested. It holds every bin that may contain the
    /// cheapest candidate at a cost of at most uCount, and the bins before them in which their marks may be set. False
    /// when there are none.
    bool choose(const SplitFrame& frame, uint32_t uCount);

    /// The window is from first() up to but not including end().
    uint32_t first() const { return uFirst; }
    uint32_t end() const { return uEnd; }

    /// Vertices in a bin, with duplicates.
    uint32_t candidates(uint32_t uBin) const { return pCandidates[uBin]; }

    /// Faces whose threshold lies in a bin before the window.
    uint32_t lowBefore() const { return sumBefore(pLowSure); }
    uint32_t highBefore() const { return sumBefore(pHighSure); }

 private:
    void chooseBins(const SplitFrame& frame, uint32_t uCount, bool bBounded);
    bool chooseCheapBins(const SplitFrame& frame, uint32_t uCount);
    uint32_t listActive(uint32_t uCount);
    uint32_t sumBefore(const uint32_t* pCounts) const;

    uint32_t uBins = 1;
    uint32_t uFirst = 1, uEnd = 1;
    float fLow = 0.0f, fHigh = 0.0f, fScale = 0.0f;
    uint32_t uCounts[5 * (MAX_BINS + 2)];
    // For each bin: how many faces are surely and possibly on either side, and the lower bound of the cost. Members,
    // not locals: a stack overflow would end the process without a message.
    int32_t iLeft[2][MAX_BINS], iRight[2][MAX_BINS];
    float fFloor[MAX_BINS];
    uint32_t *pCandidates = nullptr, *pLowMaybe = nullptr, *pLowSure = nullptr;  // rows of uCounts
    uint32_t *pHighSure = nullptr, *pHighMaybe = nullptr;
};

}  // namespace rt
