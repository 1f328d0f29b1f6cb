// The overlap test of triangle and box.
#include <gtest/gtest.h>

#include <array>

#include "accel/TriBoxIntersection.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector3f;

using Point = std::array<double, 3>;

// The judge: cuts the triangle at the six planes of the box, in double precision, and looks whether anything is left.
bool overlapsByClipping(const NMVector3f& v3Centre, const NMVector3f& v3Half, double dGrow,
                        const NMVector3f (&triangle)[3]) {
    std::vector<Point> vPolygon;
    for (const NMVector3f& v : triangle) vPolygon.push_back({double{v.x}, double{v.y}, double{v.z}});
    for (unsigned u = 0; u < 6; ++u) {
        const unsigned a = u / 2;
        const double dSign = u % 2 ? 1.0 : -1.0;
        const auto outside = [&](const Point& p) {
            return dSign * (p[a] - double{v3Centre[a]}) - double{v3Half[a]} - dGrow;
        };
        std::vector<Point> vKept;
        for (size_t i = 0; i < vPolygon.size(); ++i) {
            const Point &p = vPolygon[i], &q = vPolygon[(i + 1) % vPolygon.size()];
            const double dP = outside(p), dQ = outside(q);
            if (dP <= 0) vKept.push_back(p);
            if ((dP < 0 && dQ > 0) || (dP > 0 && dQ < 0)) {
                Point cut{};
                for (unsigned b = 0; b < 3; ++b) cut[b] = p[b] + (q[b] - p[b]) * dP / (dP - dQ);
                vKept.push_back(cut);
            }
        }
        vPolygon = vKept;
    }
    return !vPolygon.empty();
}

// Half of the triangles have small whole coordinates, which are exact: touching is decided without rounding, and
// counts. Points and lines occur.
TEST(TriBoxIntersection, AgreesWithClipping) {
    unsigned uClear[2] = {}, uTouching = 0;
    for (uint32_t uSeed = 0; uSeed < 100000; ++uSeed) {
        Random random(uSeed);
        const bool bWhole = uSeed % 2;
        const auto whole = [&] { return static_cast<float>(random.below(9)) - 4.0f; };
        NMVector3f v3Centre{}, v3Half{1, 2, 1}, t[3];
        if (!bWhole) {
            v3Centre = random.vector(5.0f);
            v3Half = NMVector3f{1.5f, 1.5f, 1.5f} + random.vector(1.5f);
        }
        const NMVector3f v3At = v3Centre + random.vector(4.0f);
        const float fSize = random.between(0, 8);
        for (NMVector3f& v3 : t) v3 = bWhole ? NMVector3f{whole(), whole(), whole()} : v3At + random.vector(fSize);
        if (!bWhole && uSeed % 3 == 0) t[2] = (t[0] + t[1]) * 0.5f + random.vector(0.001f);
        const double dGrow = bWhole ? 1e-9 : 1e-5;
        const bool bOverlap = overlapsByClipping(v3Centre, v3Half, dGrow, t);
        const bool bTouching = bOverlap != overlapsByClipping(v3Centre, v3Half, -dGrow, t);
        if (bTouching && !bWhole) continue;  // rounding decides
        ++uClear[bOverlap];
        uTouching += bTouching;
        ASSERT_EQ(TriBoxIntersection(v3Centre, v3Half, t[0], t[1], t[2]), bOverlap) << "seed " << uSeed;
    }
    EXPECT_GT(std::min({uClear[0], uClear[1], uTouching}), 2500u);
}

}  // namespace
