#pragma once

#include <cstdint>

#include "accel/build/NodeFrame.h"
#include "accel/build/SplitFrame.h"

/// The search for the split of a node in which few candidates and few faces are left to look at: every candidate
/// against every face, four candidates at a time, unsorted and without jumps.
class SmallSplit {
 public:
    static constexpr uint32_t MAX_FACES = 64;
    static constexpr uint32_t MAX_CANDIDATES = 128;

    /// The search may be used for so many of them, and is the faster one.
    static bool isSmall(uint32_t uFaces, uint32_t uCandidates) {
        return uFaces <= MAX_FACES && uCandidates <= MAX_CANDIDATES && uFaces * uCandidates <= MAX_PAIRS;
    }

    /// uLeftBase, uRightBase: faces counted at all candidates, besides those that are added.
    /// Requires a box whose area is finite and not zero.
    SmallSplit(const SplitFrame& nodeFrame, uint32_t uLeftBase, uint32_t uRightBase)
        : frame(nodeFrame), iLeft(static_cast<int32_t>(uLeftBase)), iRight(static_cast<int32_t>(uRightBase)) {}

    /// Requires room: isSmall() of the final numbers.
    void addFace(const FaceValues<float>& thresholds, uint32_t u);

    /// Adds a position if bValid; repetitions do no harm.
    void addCandidate(float f, bool bValid) {
        fCandidates[uCandidates] = f;
        uCandidates += bValid;
    }

    /// Finds the split from the faces' thresholds. False when that needs the overlap tests: then *pSplit is not
    /// touched.
    bool find(Split* pSplit);

 private:
    static constexpr uint32_t MAX_PAIRS = 2048;
    static constexpr uint32_t WIDTH = 4;
    using Lanes = float __attribute__((vector_size(16)));
    using Counts = int32_t __attribute__((vector_size(16)));

    // A face's thresholds, each in all lanes.
    struct Thresholds {
        Lanes lowMaybe, lowSure, highSure, highMaybe;
    };

    Lanes area(Lanes length) const;
    Lanes cost(Lanes position, Counts left, Counts right) const;

    const SplitFrame& frame;
    int32_t iLeft, iRight;
    uint32_t uFaces = 0, uCandidates = 0;
    Thresholds faces[MAX_FACES];
    float fCandidates[MAX_CANDIDATES + WIDTH];
};
