#pragma once

#include <cstdint>

#include "accel/KDTreeNode.h"
#include "accel/LeafBoxes.h"
#include "accel/LeafFace.h"

/// What a kernel needs to know of a tree: plain pointers, owned by the tree.
struct PacketTree {
    const KDTreeNode* pNodes;  // linked form; a leaf's second word leads to its records or boxes
    const LeafFace* pFaces;
    const LeafBox* pBoxes;
    float fOriginLimit;  // the boxes hold for rays whose origin has no larger coordinate
    float fBoxMin[3];    // the scene's box
    float fBoxMax[3];
};

/// Pointers to the components of a packet's rays, each with the kernel's number of lanes readable.
struct PacketRays {
    const float* pOrigin[3];
    const float* pDir[3];
    const float* pMaxDist;
};

/// The packet queries for one instruction set. They answer for the rays of uMask, bit i for lane i.
struct PacketKernel {
    const char* szName;
    unsigned uLanes;  // rays of one packet, at most 64

    /// The nearest face of each ray in pFaces[lane]; lanes without a hit keep what stands there.
    void (*pfnNearest)(const PacketTree& tree, const PacketRays& rays, uint64_t uMask, uint32_t* pFaces);

    /// The rays that any face blocks within their maximal distance.
    uint64_t (*pfnObstacles)(const PacketTree& tree, const PacketRays& rays, uint64_t uMask);
};

/// The kernel for this machine's best instruction set.
const PacketKernel& bestKernel();

/// The kernel of the given name ("generic", "sse2", "avx2", "avx512"), null when this machine or build has none.
const PacketKernel* findKernel(const char* szName);
