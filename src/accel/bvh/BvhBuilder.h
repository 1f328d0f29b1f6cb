#pragma once

#include <cstdint>

#include "accel/bvh/Bvh.h"

namespace rt {

/// A face's box; the spare component of the lower corner holds the bits of the face's index.
struct alignas(16) BvhItem {
    float fMin[4];
    float fMax[4];

    uint32_t face() const;
};

/// Builds the nodes of a Bvh from the top down by the binned surface-area heuristic (Wald 2007), along the axis on
/// which the boxes' centres spread most. Sorts the items into the order of the leaves. There must be room for a third
/// as many nodes as items, plus one. The first uOrdinary of the uTotal items do not share a child of the root with the
/// others. Returns the number of nodes.
uint32_t buildBvh(BvhNode* pNodes, BvhItem* pItems, uint32_t uOrdinary, uint32_t uTotal);

}  // namespace rt
