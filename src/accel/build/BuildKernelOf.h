#pragma once

// The kernel of one width, for the files that are compiled for one instruction set each.

#include "accel/build/BuildKernel.h"
#include "accel/build/FaceStepsKernel.h"
#include "accel/build/PartSweepKernel.h"

namespace {

template <unsigned WIDTH>
constexpr BuildKernel BUILD_KERNEL = {
    StepsKernel<WIDTH>::measureAll,
    [](const StepsFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<WIDTH>(frame, pCorners, bHigh, pCandidates).firstMiss(uBegin, uEnd); },
    [](const StepsFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<WIDTH>(frame, pCorners, bHigh, pCandidates).firstOverlap(uBegin, uEnd); }};

}  // namespace
