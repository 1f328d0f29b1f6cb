#include "accel/build/FaceSteps.h"

#include <algorithm>
#include <cmath>

#include "accel/build/FaceStepsKernel.h"

const MeasureSteps g_measureSteps4 = StepsKernel<4>::measureAll;

namespace {

MeasureSteps fastestMeasure() {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    if (g_measureSteps8 && __builtin_cpu_supports("avx2")) return g_measureSteps8;
#endif
    return g_measureSteps4;
}

StepsFrame frameOf(const SplitFrame& frame) {
    const Velk::NMVector3f v3Centre = SplitFrame::centre(frame.box), v3Half = SplitFrame::half(frame.box);
    StepsFrame steps{};
    steps.uAxis = frame.uAxis;
    for (unsigned k = 0; k < 2; ++k) {
        steps.uOther[k] = (frame.uAxis + 1 + k) % 3;
        steps.fCentre[k] = v3Centre[steps.uOther[k]];
        steps.fHalf[k] = v3Half[steps.uOther[k]];
    }
    steps.fLow = frame.fLow;
    steps.fHigh = frame.fHigh;
    steps.fExtent = frame.fHigh - frame.fLow;
    steps.fReach = std::max(std::fabs(frame.fLow), std::fabs(frame.fHigh));
    return steps;
}

}  // namespace

void FaceSteps::measure(const SplitFrame& splitFrame, const FaceCorners* pCorners, uint32_t uCount, bool bTested,
                        bool bTame) const {
    static const MeasureSteps pfnMeasure = fastestMeasure();
    StepsFrame frame = frameOf(splitFrame);
    frame.bTested = bTested;
    frame.bTame = bTame;
    pfnMeasure(frame, &pCorners[0].v3Corner[0].x, pFace, uCount, *this);
}
