#pragma once

#include <cstdint>

#include "accel/build/NodeFrame.h"

namespace rt {

/// The vectorised loops of the tree's construction. There is one set of them for each instruction set, and every one
/// gives the same answers to the bit.
struct BuildKernel {
    /// Computes the thresholds of a node's faces. pCorners has nine floats for each face of the scene, pNumbers the
    /// indices of the node's uCount faces. The results go to the arrays of `to`.
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
