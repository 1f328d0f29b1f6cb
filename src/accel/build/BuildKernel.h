#pragma once

#include <cstdint>

#include "accel/build/NodeFrame.h"

namespace rt {

/// The vectorised loops of the tree's construction. There is one set of them for each instruction set, and every one
/// gives the same answers to the bit.
struct BuildKernel {
    /// Finds the thresholds: the nine floats of each face from pCorners on, the numbers of the node's faces, where to
    /// put the values.
    void (*measure)(const NodeFrame& frame, const float* pCorners, const uint32_t* pNumbers, uint32_t uCount,
                    const FaceValues<float>& to);

    /// The first of the ascending candidates uBegin to uEnd - 1 at which the face with these nine floats misses
    /// (firstMiss) or overlaps (firstOverlap) the enlarged high or low part of the node; uEnd when there is none. The
    /// answers are those of the overlap test itself.
    using FindFirst = uint32_t (*)(const NodeFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates,
                                   uint32_t uBegin, uint32_t uEnd);
    FindFirst firstMiss, firstOverlap;

    /// The kernel for this machine.
    static const BuildKernel& fastest();
};

extern const BuildKernel g_buildKernel4;          // four lanes, on every machine
extern const BuildKernel* const g_pBuildKernel8;  // eight lanes; null when the build has no AVX2

}  // namespace rt
