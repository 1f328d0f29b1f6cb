#pragma once

#include <cstdint>

#include "accel/BoxSplit.h"
#include "accel/bvh/Bvh.h"
#include "scene/StopFlag.h"

namespace rt {

/// Builds the nodes of a Bvh from the top down. Sorts the items into the order of the leaves. There must be room for a
/// third as many nodes as items, plus one. The first uOrdinary of the uTotal items do not share a child of the root
/// with the others. Returns the number of nodes, which are of no use when it was stopped.
uint32_t buildBvh(BvhNode* pNodes, BoxItem* pItems, uint32_t uOrdinary, uint32_t uTotal, StopFlag pStop);

}  // namespace rt
