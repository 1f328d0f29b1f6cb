#pragma once

#include <cstddef>
#include <cstdint>

namespace rt {

/// Values of the current node's faces: one array for each value, one element for each face.
template <typename T>
struct FaceValues {
    static constexpr unsigned ARRAYS = 7;
    T *pMin, *pMid, *pMax;  // the face's vertices on the split axis, sorted
    T *pLowMaybe, *pLowSure, *pHighSure, *pHighMaybe;

    /// Places the arrays in a block of ARRAYS * uElements elements.
    void divide(T* pBlock, size_t uElements) {
        for (T** pp : {&pMin, &pMid, &pMax, &pLowMaybe, &pLowSure, &pHighSure, &pHighMaybe}) {
            *pp = pBlock;
            pBlock += uElements;
        }
    }
};

/// What the kernels need to know of a node.
struct NodeFrame {
    /// Boxes are enlarged to this multiple of their extent on either side of the centre, so that no face falls between
    /// two of them.
    static constexpr float BOX_HALF = 0.51f;
    static constexpr uint32_t UNIT = 8;  // faces processed together; arrays have room for a full last unit

    unsigned uAxis, uOther[2];   // the split axis, the next two
    float fLow, fHigh, fExtent;  // the box on the split axis
    float fReach;                // the larger of |fLow| and |fHigh|
    float fCentre[2], fHalf[2];  // the enlarged box on the other axes
    bool bOverlapKnown;          // every face is known to overlap the enlarged box, by the same test
    bool bInRange;               // box and corners are finite and below OverlapThresholds::LARGEST
};

namespace {

/// The two vertices that the overlap test projects for an edge, by axis of the cross product.
constexpr uint8_t PROJECTED[3][3][2] = {{{0, 2}, {0, 2}, {0, 1}}, {{0, 2}, {0, 2}, {0, 1}}, {{1, 2}, {0, 1}, {1, 2}}};

}  // namespace

}  // namespace rt
