#pragma once

#include <cstdint>

namespace rt {

/// What the packet kernels need to test one face, and nothing else. Names as in FaceData; fCu and fCv are vertex C's
/// coordinates on the axes ku and kv.
struct FaceRecord {
    float fNu, fNv, fNd;
    float fCu, fCv;
    float fLambdaU, fLambdaV;
    float fMuU, fMuV;
    uint32_t uPacked;  // bits 0-1: k; bit 2: the normal points down axis k; from bit 3 on the face's index

    // Must inline: an out-of-line copy from an AVX file could be linked into code for older processors.
    [[gnu::always_inline]] unsigned axis() const { return uPacked & 3; }
    /// Twice the face's index, plus 1 when the normal points down axis k.
    [[gnu::always_inline]] uint32_t faceSide() const { return uPacked >> 2; }

    static constexpr uint32_t MAX_FACES = 1u << 29;
};
static_assert(sizeof(FaceRecord) == 40, "a face test reads 40 bytes");

}  // namespace rt
