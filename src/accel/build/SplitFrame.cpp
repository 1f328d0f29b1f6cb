// Computes the values of a node that the vectorised loops read.
#include "accel/build/SplitFrame.h"

#include <algorithm>
#include <cmath>

namespace rt {

NodeFrame SplitFrame::forKernels() const {
    const Velk::NMVector3f v3Centre = centre(box), v3Half = half(box);
    NodeFrame node{};
    node.uAxis = uAxis;
    for (unsigned k = 0; k < 2; ++k) {
        node.uOther[k] = (uAxis + 1 + k) % 3;
        node.fCentre[k] = v3Centre[node.uOther[k]];
        node.fHalf[k] = v3Half[node.uOther[k]];
    }
    node.fLow = fLow;
    node.fHigh = fHigh;
    node.fExtent = fHigh - fLow;
    node.fReach = std::max(std::fabs(fLow), std::fabs(fHigh));
    return node;
}

}  // namespace rt
