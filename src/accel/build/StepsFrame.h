#pragma once

#include <cstddef>
#include <cstdint>

/// One array a value, one element a face of the current node.
template <typename T>
struct FaceValues {
    static constexpr unsigned ARRAYS = 7;
    T *pMin, *pMid, *pMax;  // the face's vertices on the split axis, sorted
    T *pLowMaybe, *pLowSure, *pHighSure, *pHighMaybe;

    /// Puts the arrays into a block of ARRAYS * uElements elements.
    void divide(T* pBlock, size_t uElements) {
        for (T** pp : {&pMin, &pMid, &pMax, &pLowMaybe, &pLowSure, &pHighSure, &pHighMaybe}) {
            *pp = pBlock;
            pBlock += uElements;
        }
    }
};

/// What the kernels of FaceSteps need to know of a node.
struct StepsFrame {
    static constexpr uint32_t UNIT = 8;  // faces at a time; arrays of values have room for a whole last unit

    unsigned uAxis, uOther[2];   // the split axis, the next two
    float fLow, fHigh, fExtent;  // the box on the split axis
    float fReach;                // the larger of |fLow| and |fHigh|
    float fCentre[2], fHalf[2];  // the enlarged box on the other axes
    bool bTested, bTame;         // as for FaceSteps
};

/// The kernels by the number of faces side by side: the nine floats of each face from pCorners on, the numbers of the
/// node's faces, where to put the values.
using MeasureSteps = void (*)(const StepsFrame& frame, const float* pCorners, const uint32_t* pNumbers, uint32_t uCount,
                              const FaceValues<float>& to);
extern const MeasureSteps g_measureSteps4;
extern const MeasureSteps g_measureSteps8;  // null where the build has no such instructions
