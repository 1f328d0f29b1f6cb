#include <gtest/gtest.h>

#include "accel/TriBoxIntersection.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector3f;

struct Point {
    double d[3];
};

// The judge: cuts the triangle at the six planes of the box, in double precision, and looks whether anything is left.
bool overlapsByClipping(const NMVector3f& v3Centre, const NMVector3f& v3Half, double dGrow,
                        const NMVector3f (&triangle)[3]) {
    std::vector<Point> vPolygon;
    for (const NMVector3f& v : triangle) vPolygon.push_back({{double{v.x}, double{v.y}, double{v.z}}});
    for (unsigned u = 0; u < 6; ++u) {
        const unsigned a = u / 2;
        const double dSign = u % 2 ? 1.0 : -1.0;
        const auto outside = [&](const Point& p) {
            return dSign * (p.d[a] - double{v3Centre[a]}) - double{v3Half[a]} - dGrow;
        };
        std::vector<Point> vKept;
        for (size_t i = 0; i < vPolygon.size(); ++i) {
            const Point &p = vPolygon[i], &q = vPolygon[(i + 1) % vPolygon.size()];
            const double dP = outside(p), dQ = outside(q);
            if (dP <= 0) vKept.push_back(p);
            if ((dP < 0 && dQ > 0) || (dP > 0 && dQ < 0)) {
                Point cut{};
                for (unsigned b = 0; b < 3; ++b) cut.d[b] = p.d[b] + (q.d[b] - p.d[b]) * dP / (dP - dQ);
                vKept.push_back(cut);
            }
        }
        vPolygon = vKept;
    }
    return !vPolygon.empty();
}

TEST(TriBoxIntersection, AgreesWithClippingUpToRounding) {
    unsigned uClear[2] = {};
    for (uint32_t uSeed = 0; uSeed < 50000; ++uSeed) {
        Random random(uSeed);
        const NMVector3f v3Centre = random.vector(5.0f), v3At = v3Centre + random.vector(4.0f);
        const NMVector3f v3Half = NMVector3f{1.5f, 1.5f, 1.5f} + random.vector(1.5f);
        const float fSize = random.between(0, 8);
        NMVector3f t[3];
        for (NMVector3f& v3 : t) v3 = v3At + random.vector(fSize);
        if (uSeed % 3 == 0) t[2] = (t[0] + t[1]) * 0.5f + random.vector(0.001f);
        const bool bOverlap = overlapsByClipping(v3Centre, v3Half, -1e-5, t);
        if (bOverlap != overlapsByClipping(v3Centre, v3Half, 1e-5, t)) continue;  // touching: rounding decides
        ++uClear[bOverlap];
        ASSERT_EQ(TriBoxIntersection(v3Centre, v3Half, t[0], t[1], t[2]), bOverlap) << "seed " << uSeed;
    }
    EXPECT_GT(std::min(uClear[0], uClear[1]), 2500u);
}

// Small whole numbers are exact, so that touching is decided without rounding; points and lines occur.
TEST(TriBoxIntersection, TouchingCounts) {
    unsigned uTouching = 0;
    for (uint32_t uSeed = 0; uSeed < 50000; ++uSeed) {
        Random random(uSeed);
        const auto whole = [&] { return static_cast<float>(random.below(9)) - 4.0f; };
        NMVector3f t[3];
        for (NMVector3f& v3 : t) v3 = {whole(), whole(), whole()};
        const NMVector3f v3Half{1, 2, 1};
        const bool bTouches = overlapsByClipping({0, 0, 0}, v3Half, 1e-9, t);
        uTouching += bTouches && !overlapsByClipping({0, 0, 0}, v3Half, -1e-9, t);
        ASSERT_EQ(TriBoxIntersection({0, 0, 0}, v3Half, t[0], t[1], t[2]), bTouches) << "seed " << uSeed;
    }
    EXPECT_GT(uTouching, 2500u);
}

}  // namespace
