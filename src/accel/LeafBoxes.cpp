#include "accel/LeafBoxes.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "scene/Scene.h"

namespace {

constexpr double UNIT = 1.0 / 16777216.0;  // rounding error of one single-precision operation
constexpr uint32_t BOX_FACES = 4;          // faces that share a lowest box
constexpr unsigned BINS = 16;
constexpr float UNBOUNDED = std::numeric_limits<float>::infinity();

// Where can Scene::testTriangle accept a ray whose origin is within the limit?
//
// It computes the hit's coordinates hu, hv relative to C, then lambda = lu hu + lv hv and mu = mu hu + mv hv, and
// accepts lambda >= 0, mu >= 0, lambda + mu <= 1. Take the stored coefficients as exact and let q1, q2 be the columns
// of their inverse, so that (hu, hv) = lambda q1 + mu q2. Rounding changes lambda by at most a1 |lambda| + a2 |mu|,
// with a1 and a2 four units times sums of |coefficient| |q|, and mu likewise. With a the larger of the two sums and a
// <= 1/4, an accepted point has |lambda|, |mu| <= 1 / (1 - a) <= 4/3, so its exact lambda and mu lie within E = 4/3 a +
// 4 units of the accepted range: a triangle in (hu, hv). A needle with a larger a has no bound here and is always
// tested.
//
// On the third axis the point O + t D satisfies the plane's equation up to the rounding of t's numerator and the
// product of t with the denominator's rounding, together below 64 units times the largest coordinate involved. The same
// bound covers the rounding of the hit's own coordinates and of the box test, and is added on every side.
struct Bounds {
    float fMin[3], fMax[3];
};

Bounds acceptBounds(const LeafFace& f, double dLargest) {
    Bounds bounds;
    std::fill_n(bounds.fMin, 3, -UNBOUNDED);
    std::fill_n(bounds.fMax, 3, UNBOUNDED);
    const double lu = f.fLambdaU, lv = f.fLambdaV, mu = f.fMuU, mv = f.fMuV;
    const double dDet = lu * mv - lv * mu;
    const double q1u = mv / dDet, q1v = -mu / dDet, q2u = -lv / dDet, q2v = lu / dDet;
    const auto sum = [&](double cu, double cv) {
        return fabs(cu) * (fabs(q1u) + fabs(q2u)) + fabs(cv) * (fabs(q1v) + fabs(q2v));
    };
    const double a = 4 * UNIT * std::max(sum(lu, lv), sum(mu, mv));
    if (!(a <= 0.25)) return bounds;
    const double E = 4.0 / 3.0 * a + 4 * UNIT;
    const double corners[3][2] = {{-E, -E}, {1 + 2 * E, -E}, {-E, 1 + 2 * E}};
    double dMin[3] = {INFINITY, INFINITY, INFINITY}, dMax[3] = {-INFINITY, -INFINITY, -INFINITY};
    for (const auto& corner : corners) {
        const double u = f.fCu + corner[0] * q1u + corner[1] * q2u, v = f.fCv + corner[0] * q1v + corner[1] * q2v;
        const double point[3] = {f.fNd - f.fNu * u - f.fNv * v, u, v};
        for (unsigned i = 0; i < 3; ++i) {
            dMin[i] = std::min(dMin[i], point[i]);
            dMax[i] = std::max(dMax[i], point[i]);
        }
    }
    const double dMargin = 64 * UNIT * (dLargest + fabs(static_cast<double>(f.fNd)));
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned uAxis = g_modulo[f.uAxis + i];
        bounds.fMin[uAxis] = static_cast<float>(dMin[i] - dMargin);
        bounds.fMax[uAxis] = static_cast<float>(dMax[i] + dMargin);
    }
    return bounds;
}

float halfArea(const float* pMin, const float* pMax) {
    const float x = pMax[0] - pMin[0], y = pMax[1] - pMin[1], z = pMax[2] - pMin[2];
    return x * (y + z) + y * z;
}

// A box that grows.
struct Extent {
    float fMin[3] = {UNBOUNDED, UNBOUNDED, UNBOUNDED};
    float fMax[3] = {-UNBOUNDED, -UNBOUNDED, -UNBOUNDED};
    uint32_t uCount = 0;

    void add(const float* pMin, const float* pMax, uint32_t u = 1) {
        for (unsigned a = 0; a < 3; ++a) {
            fMin[a] = std::min(fMin[a], pMin[a]);
            fMax[a] = std::max(fMax[a], pMax[a]);
        }
        uCount += u;
    }
    float cost() const { return uCount ? halfArea(fMin, fMax) * static_cast<float>(uCount) : 0.0f; }
};

}  // namespace

LeafBoxes::LeafBoxes(const Scene& source) : scene(source), fReach(0.0f) {
    for (const Velk::NMVector3f& v3 : {scene.boxScene.v3Min, scene.boxScene.v3Max}) {
        fReach = std::max({fReach, fabsf(v3.x), fabsf(v3.y), fabsf(v3.z)});
    }
    fOriginLimit = 4.0f * fReach;
}

LeafBoxes::Item LeafBoxes::makeItem(const LeafFace& record) const {
    const Bounds bounds = acceptBounds(record, static_cast<double>(fOriginLimit) + static_cast<double>(fReach));
    Item item;
    std::copy_n(bounds.fMin, 3, item.fMin);
    std::copy_n(bounds.fMax, 3, item.fMax);
    item.record = record;
    return item;
}

uint32_t LeafBoxes::build(LeafFace* pRecords, uint32_t uCount, uint32_t uFirstRecord, std::vector<LeafBox>& vBoxes) {
    vItems.clear();
    for (uint32_t u = 0; u < uCount; ++u) vItems.push_back(makeItem(pRecords[u]));
    uRecordBase = uFirstRecord;
    const auto itBounded =
        std::partition(vItems.begin(), vItems.end(), [](const Item& item) { return item.fMax[0] == UNBOUNDED; });
    const uint32_t uUnbounded = static_cast<uint32_t>(itBounded - vItems.begin());
    const uint32_t uRoot = static_cast<uint32_t>(vBoxes.size());
    vBoxes.emplace_back();
    if (uUnbounded && uUnbounded < uCount) {
        // The faces without bounds stand apart, so that they do not spoil the boxes of the others.
        LeafBox box{
            {-UNBOUNDED, -UNBOUNDED, -UNBOUNDED}, uRoot + 1, {UNBOUNDED, UNBOUNDED, UNBOUNDED}, LeafBox::INTERIOR};
        vBoxes[uRoot] = box;
        box.uFirst = uFirstRecord;
        box.uCount = uUnbounded;
        vBoxes.push_back(box);
        vBoxes.emplace_back();
        split(uRoot + 2, uUnbounded, uCount, vBoxes);
    } else {
        split(uRoot, 0, uCount, vBoxes);
    }
    for (uint32_t u = 0; u < uCount; ++u) pRecords[u] = vItems[u].record;
    return uRoot;
}

void LeafBoxes::split(uint32_t uNode, uint32_t uBegin, uint32_t uEnd, std::vector<LeafBox>& vBoxes) {
    Extent extent;
    for (uint32_t u = uBegin; u < uEnd; ++u) extent.add(vItems[u].fMin, vItems[u].fMax);
    std::copy_n(extent.fMin, 3, vBoxes[uNode].fMin);
    std::copy_n(extent.fMax, 3, vBoxes[uNode].fMax);
    if (uEnd - uBegin <= BOX_FACES || extent.fMax[0] == UNBOUNDED) {
        vBoxes[uNode].uFirst = uRecordBase + uBegin;
        vBoxes[uNode].uCount = uEnd - uBegin;
        return;
    }
    const uint32_t uMiddle = partition(uBegin, uEnd);
    const uint32_t uChild = static_cast<uint32_t>(vBoxes.size());
    vBoxes[uNode].uFirst = uChild;
    vBoxes[uNode].uCount = LeafBox::INTERIOR;
    vBoxes.resize(vBoxes.size() + 2);
    split(uChild, uBegin, uMiddle, vBoxes);
    split(uChild + 1, uMiddle, uEnd, vBoxes);
}

// Divides the items on the axis along which their centres spread most: by surface area over bins where there are many,
// at the middle otherwise. Returns the first item of the second part.
uint32_t LeafBoxes::partition(uint32_t uBegin, uint32_t uEnd) {
    const auto centre = [](const Item& item, unsigned a) { return item.fMin[a] + item.fMax[a]; };
    Extent centres;
    for (uint32_t u = uBegin; u < uEnd; ++u) {
        const float c[3] = {centre(vItems[u], 0), centre(vItems[u], 1), centre(vItems[u], 2)};
        centres.add(c, c);
    }
    unsigned a = 0;
    for (unsigned b = 1; b < 3; ++b) {
        if (centres.fMax[b] - centres.fMin[b] > centres.fMax[a] - centres.fMin[a]) a = b;
    }
    const uint32_t uCount = uEnd - uBegin, uMiddle = uBegin + uCount / 2;
    const auto itBegin = vItems.begin() + uBegin, itEnd = vItems.begin() + uEnd;
    const float fSpread = centres.fMax[a] - centres.fMin[a];
    if (uCount > 2 * BINS && fSpread > 0.0f) {
        const float fScale = static_cast<float>(BINS) / fSpread;
        const auto bin = [&](const Item& item) {
            return std::min(BINS - 1, static_cast<unsigned>((centre(item, a) - centres.fMin[a]) * fScale));
        };
        Extent bins[BINS], right[BINS];
        for (auto it = itBegin; it != itEnd; ++it) bins[bin(*it)].add(it->fMin, it->fMax);
        for (unsigned i = BINS; i-- > 1;) {
            if (i + 1 < BINS) right[i] = right[i + 1];
            right[i].add(bins[i].fMin, bins[i].fMax, bins[i].uCount);
        }
        Extent left;
        float fBest = UNBOUNDED;
        unsigned uBest = 0;
        for (unsigned i = 0; i + 1 < BINS; ++i) {
            left.add(bins[i].fMin, bins[i].fMax, bins[i].uCount);
            const float fCost = left.cost() + right[i + 1].cost();
            if (fCost < fBest && left.uCount && right[i + 1].uCount) {
                fBest = fCost;
                uBest = i;
            }
        }
        const auto itMiddle = std::partition(itBegin, itEnd, [&](const Item& item) { return bin(item) <= uBest; });
        if (itMiddle != itBegin && itMiddle != itEnd) return static_cast<uint32_t>(itMiddle - vItems.begin());
    }
    std::nth_element(itBegin, vItems.begin() + uMiddle, itEnd,
                     [&](const Item& l, const Item& r) { return centre(l, a) < centre(r, a); });
    return uMiddle;
}
