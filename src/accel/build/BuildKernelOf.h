#pragma once

// The kernel of one vector type, for the files that are compiled for one instruction set each.

#include "accel/build/BuildKernel.h"
#include "accel/build/PartSweepKernel.h"
#include "accel/build/ThresholdsKernel.h"

namespace rt {

namespace {

template <typename Lanes>
constexpr BuildKernel BUILD_KERNEL = {
    ThresholdsKernel<Lanes>::measureAll,
    [](const NodeFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<Lanes>(frame, pCorners, bHigh, pCandidates).firstMiss(uBegin, uEnd); },
    [](const NodeFrame& frame, const float* pCorners, bool bHigh, const float* pCandidates, uint32_t uBegin,
       uint32_t uEnd) { return PartSweep<Lanes>(frame, pCorners, bHigh, pCandidates).firstOverlap(uBegin, uEnd); }};

}  // namespace

}  // namespace rt
