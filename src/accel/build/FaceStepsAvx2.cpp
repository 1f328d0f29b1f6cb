#include "accel/build/StepsFrame.h"

#if defined(RT_VECTORS) && defined(__AVX2__)

#include "accel/build/FaceStepsKernel.h"

const MeasureSteps g_measureSteps8 = StepsKernel<8>::measureAll;

#else

const MeasureSteps g_measureSteps8 = nullptr;

#endif
