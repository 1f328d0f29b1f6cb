#pragma once

#include <cstdint>
#include <memory>

#include "accel/build/BuildKernel.h"
#include "accel/build/OverlapThresholds.h"
#include "accel/build/SplitBins.h"
#include "accel/build/SplitFrame.h"
#include "base/NArrays.h"
#include "scene/StopFlag.h"

namespace rt {

class Scene;

/// Finds the cheapest split position of a node among the vertex coordinates of its faces: the same choice, to the bit,
/// as testing every face at every position. Its memory is sized for the largest node and reused by every other.
class KDTreeSplitSearch {
 public:
    KDTreeSplitSearch() = default;
    KDTreeSplitSearch(const KDTreeSplitSearch&) = delete;
    KDTreeSplitSearch& operator=(const KDTreeSplitSearch&) = delete;

    /// Allocates for the scene's faces and copies their corners. True when out of memory.
    [[nodiscard]] bool create(const Scene& scene);

    /// Memory that create() takes, in bytes.
    static uint64_t bytesFor(uint32_t uFaces);

    /// Instead of create(): uses the corners of another search, which must outlive this one. reserve() comes next.
    void share(const KDTreeSplitSearch& other) {
        pCorners = other.pCorners;
        bInRange = other.bInRange;
        pStop = other.pStop;
    }

    /// Makes room for nodes of up to uFaces faces, if there is not, and gives back what is far more: of several
    /// threads, each has a large node once. What faces() led to is lost then. True when out of memory.
    [[nodiscard]] bool reserve(uint32_t uFaces);

    /// Where the caller puts the face numbers of the next node, in list order.
    uint32_t* faces() { return thresholds.pFace; }

    StopFlag pStop = nullptr;  // of find()

    /// Finds the split of a node with uCount > 0 faces. bOverlapKnown: each was found to overlap the enlarged box. True
    /// when there is not enough memory.
    [[nodiscard]] bool find(const SplitFrame& frame, uint32_t uCount, bool bOverlapKnown, Split& split);

    /// True when face number u of the last node belongs to the low, the high child of a split at fPos, a candidate.
    bool isLow(const SplitFrame& frame, uint32_t u, float fPos) const {
        return fPos >= thresholds.pLowSure[u] || (fPos >= thresholds.pLowMaybe[u] && overlapsLow(frame, u, fPos));
    }
    bool isHigh(const SplitFrame& frame, uint32_t u, float fPos) const {
        return fPos <= thresholds.pHighSure[u] || (fPos <= thresholds.pHighMaybe[u] && overlapsHigh(frame, u, fPos));
    }

 private:
    bool overlapsLow(const SplitFrame& frame, uint32_t u, float fPos) const;
    bool overlapsHigh(const SplitFrame& frame, uint32_t u, float fPos) const;
    bool findAmongFew(const SplitFrame& frame, uint32_t uCount, Split& split) const;
    bool findByBins(const SplitFrame& frame, uint32_t uCount, Split& split);
    bool collectCandidates();
    bool makeRoom(uint32_t uCandidates);
    void count(const SplitFrame& frame, uint32_t uCount);
    void countFace(const SplitFrame& frame, uint32_t u);
    void countLow(uint32_t u, uint32_t uBegin, uint32_t uEnd);
    uint32_t firstHighMiss(uint32_t u, uint32_t uBegin, uint32_t uEnd) const;
    uint32_t firstFrom(float fPos, int16_t iBin) const;
    uint32_t firstAfter(float fPos, int16_t iBin) const;
    Split cheapest(const SplitFrame& frame) const;
    float firstZero(const SplitFrame& frame, uint32_t uCount) const;

    std::unique_ptr<FaceCorners[]> ownCorners;
    const FaceCorners* pCorners = nullptr;  // of all faces of the scene
    uint32_t uMostFaces = 0;                // for which there is room
    std::unique_ptr<uint32_t[]> pNumbers;   // storage of the face numbers and of the active faces
    std::unique_ptr<float[]> pValues;
    std::unique_ptr<int16_t[]> pBins;  // storage of the bins
    OverlapThresholds thresholds{};
    NodeFrame node{};
    const BuildKernel& kernel = BuildKernel::fastest();
    bool bInRange = false;  // box and corners are small enough for thresholds and bins
    bool bBounded = false;  // and the current node has an area
    SplitBins bins;
    uint32_t uNext[SplitBins::MAX_BINS + 1];   // where collectCandidates() puts a bin's next candidate
    uint32_t uFirst[SplitBins::MAX_BINS + 1];  // first candidate in this bin of the window or behind it

    // The remaining candidates, sorted, and how the face counts change from one to the next.
    Velk::NDataVector<float> vPositions;
    Velk::NDataVector<uint32_t> vLeft, vRight;  // changes of the low and the high count, one element more
};

}  // namespace rt
