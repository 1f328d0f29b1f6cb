#pragma once

// The kernel of one width, for the files that are compiled for one instruction set each.

#include "accel/build/BuildKernel.h"
#include "accel/build/PartSweepKernel.h"
#include "accel/build/ThresholdsKernel.h"

namespace {

template <unsigned WIDTH>
constexpr BuildKernel BUILD_KERNEL = {
    ThresholdsKernel<WIDTH>::measureAll,
    [](const NodeFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<WIDTH>(frame, pCorners, bHigh, pCandidates).firstMiss(uBegin, uEnd); },
    [](const NodeFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<WIDTH>(frame, pCorners, bHigh, pCandidates).firstOverlap(uBegin, uEnd); }};

}  // namespace
