#pragma once

#include <cstdint>

/// What the packet kernels need to test one face, and nothing else. A leaf's faces stand one behind the other: in list
/// order, or in the order of the leaf's boxes where it has some. Names as in FaceData; fCu and fCv are vertex C's
/// coordinates on the axes ku and kv.
struct LeafFace {
    float fNu, fNv, fNd;
    float fCu, fCv;
    float fLambdaU, fLambdaV;
    float fMuU, fMuV;
    uint32_t uFaceSide;  // twice the index in the scene's faces, plus 1 when the normal points down axis k
    uint32_t uAxis;      // k
    uint32_t uPlace;     // place in the leaf's list; in the first record of a leaf without boxes the number of faces
};
static_assert(sizeof(LeafFace) == 48, "a face test reads 48 bytes");
