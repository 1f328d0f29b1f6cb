// The kd-tree builder against a plain one that does the same the long way.
#include <cmath>

#include "accel/PlainKDTreeBuilder.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using KDTreeBuilderTest = FileTest;
using Velk::NMVector3f;

// Faces that are hard on the overlap tests: coordinates that coincide or miss each other by a hair, faces without area,
// needles, planes, signed zeros, far from the origin, huge, tiny.
Mesh makeHard(Random& random, uint32_t uFaces) {
    enum Kind { WHOLE, SIGNED_ZEROS, PLANE, THIN, TINY, CLOSE, SOUP, KINDS };
    enum Shape { COLLINEAR, EDGE, POINT, NEEDLE, FLAT, SMALL, ANY, SHAPES };
    const auto integer = [&](int iMin, int iMax) {
        return iMin + static_cast<int>(random.below(static_cast<uint32_t>(iMax - iMin + 1)));
    };
    const auto hair = [&](float f) { return std::nextafter(f, integer(0, 1) ? 1e30f : -1e30f); };
    const int iKind = integer(0, KINDS - 1), iShape = integer(0, SHAPES - 1), iRange = integer(1, 12);
    const float fScale = std::ldexp(1.0f, integer(0, 4) ? integer(-3, 8) : integer(-60, 60));
    const bool bHair = integer(0, 1) != 0;
    float fOffset[3];
    for (float& f : fOffset) {
        const int iExponent = integer(0, 26);
        f = integer(0, 4) ? -0.0f : fScale * std::ldexp(random.between(-0.5f, 0.5f), iExponent);  // -0 keeps a sign
    }
    const auto coordinate = [&](unsigned uAxis) {
        const float fWhole = static_cast<float>(integer(0, iRange)), fReal = random.between(0.0f, 1.0f);
        float f = fReal * 10.0f;
        if (iKind == WHOLE || iKind == PLANE) f = iKind == PLANE && uAxis == 1 ? 0.0f : fWhole;
        if (iKind == SIGNED_ZEROS) f = static_cast<float>(integer(0, 1)) * (fReal < 0.5f ? 1.0f : -1.0f);
        if (iKind == THIN) f = uAxis == 1 ? fReal * 1e-6f : fReal;
        if (iKind == TINY) f = std::ldexp(fReal, integer(-20, 0));
        if (iKind == CLOSE) f = fWhole + fReal * 1e-5f;
        if (bHair && integer(0, 2) == 0) f = hair(f);
        return f * fScale + fOffset[uAxis];
    };
    Mesh mesh;
    for (uint32_t u = 0; u < uFaces; ++u) {
        const int iOwn = integer(0, 5) ? iShape : integer(0, SHAPES - 1);
        NMVector3f v3[3];
        for (NMVector3f& v : v3) v = {coordinate(0), coordinate(1), coordinate(2)};
        if (iOwn == COLLINEAR) v3[2] = v3[0] + (v3[1] - v3[0]) * 0.5f;
        if (iOwn == EDGE) v3[2] = v3[1];
        if (iOwn == POINT) v3[1] = v3[2] = v3[0];
        if (iOwn == NEEDLE) v3[2] = {hair(v3[1].x), hair(v3[1].y), hair(v3[1].z)};
        const unsigned uAxis = random.below(3);
        if (iOwn == FLAT) v3[1][uAxis] = v3[2][uAxis] = v3[0][uAxis];
        const float fSize = iOwn == SMALL ? 0.05f : 1.0f;
        mesh.add(v3[0], v3[0] + (v3[1] - v3[0]) * fSize, v3[0] + (v3[2] - v3[0]) * fSize);
    }
    return mesh;
}

TEST_F(KDTreeBuilderTest, WritesTheNodesAndListsOfThePlainSweep) {
    for (unsigned uSeed = 1; uSeed <= 1502; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        const uint32_t uFaces = random.below(25) ? 1 + random.below(30) : 60 + random.below(91);
        Scene scene;  // every eighth mesh as it comes: up to 1e20
        loadMesh(scene, uSeed > 1500 ? makeSoup(random, 1000, 0.5f) : makeHard(random, uFaces), uSeed % 8 != 0);
        ASSERT_TRUE(buildsPlainTree(scene));
    }
}

}  // namespace
