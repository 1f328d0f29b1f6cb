// Queries about points: how far the meshes are, and whether the point is inside.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "binding/Arrays.h"
#include "binding/Blocks.h"
#include "binding/HitArrays.h"
#include "binding/Queries.h"

namespace python {

namespace {

constexpr size_t BLOCK_OF_POINTS = 256;

// Few enough points that no block takes long.
size_t blockOf(const std::vector<raytracer::Ray>& vDirections) {
    return std::max<size_t>(1, BLOCK_OF_POINTS / std::max<size_t>(1, vDirections.size()));
}

// Directions that are spread evenly and along no axis: the same for every point and every call.
std::vector<raytracer::Ray> directionsOf(int iSamples) {
    if (iSamples < 1 || iSamples % 2 == 0)
        throw py::value_error("nsamples: an odd number wanted, got " + std::to_string(iSamples));
    constexpr double GOLDEN_ANGLE = 2.399963229728653;
    std::vector<raytracer::Ray> vRays;
    for (int i = 0; i < iSamples; ++i) {
        const double z = 1.0 - (2.0 * i + 0.72) / iSamples, dRadius = std::sqrt(std::max(0.0, 1.0 - z * z)),
                     dAngle = 0.6 + GOLDEN_ANGLE * i;
        raytracer::Ray ray{};
        ray.direction[0] = static_cast<float>(dRadius * std::cos(dAngle));
        ray.direction[1] = static_cast<float>(dRadius * std::sin(dAngle));
        ray.direction[2] = static_cast<float>(z);
        ray.fMaxT = std::numeric_limits<float>::infinity();
        vRays.push_back(ray);
    }
    return vRays;
}

// Whether most directions cross the meshes an odd number of times. Changes the rays' origins.
bool isInside(const raytracer::Scene& scene, const float* pPoint, std::vector<raytracer::Ray>& vRays,
              std::vector<uint32_t>& vCounts) {
    for (raytracer::Ray& ray : vRays) std::copy_n(pPoint, 3, ray.origin);
    vCounts.resize(vRays.size());
    static_cast<void>(scene.countHits(vRays.data(), vRays.size(), vCounts.data()));
    const auto iOdd = std::count_if(vCounts.begin(), vCounts.end(), [](uint32_t u) { return u % 2 == 1; });
    return 2 * static_cast<size_t>(iOdd) > vRays.size();
}

// One number for each point: distances, or signed ones when there are directions to vote on the sign.
py::array distances(RaycastingScene& scene, const char* szQuery, py::handle points, int iThreads,
                    const std::vector<raytracer::Ray>& vDirections) {
    const Rows rows(points, "query_points", 3);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, szQuery);
    py::array_t<float> result(rows.shape());
    float* pResult = result.mutable_data();
    runBlocks(rows.count(), blockOf(vDirections), uThreads, [&](size_t uFirst, size_t uCount) {
        float* p = pResult + uFirst;
        std::fill_n(p, uCount, std::numeric_limits<float>::infinity());
        if (pMeshes->isEmpty()) return;
        std::vector<float> vScratch;
        const float* pPoints = rows.read(uFirst, uCount, vScratch);
        std::vector<raytracer::Closest> vClosest(uCount);
        static_cast<void>(pMeshes->scene.findClosest(pPoints, uCount, vClosest.data()));
        std::vector<raytracer::Ray> vRays = vDirections;
        std::vector<uint32_t> vCounts;
        for (size_t u = 0; u < uCount; ++u) {
            p[u] = vClosest[u].fDistance;
            if (!vRays.empty() && isInside(pMeshes->scene, pPoints + 3 * u, vRays, vCounts)) p[u] = -p[u];
        }
    });
    return std::move(result);
}

}  // namespace

py::dict computeClosestPoints(RaycastingScene& scene, py::handle points, int iThreads) {
    const Rows rows(points, "query_points", 3);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, "compute_closest_points");
    py::array_t<float> found(rows.shape({3}));
    HitArrays hits(rows.shape());
    float* pFound = found.mutable_data();
    constexpr raytracer::Closest NONE{{0, 0, 0}, 0, raytracer::NO_TRIANGLE, 0, 0};
    runBlocks(rows.count(), BLOCK_OF_POINTS, uThreads, [&](size_t uFirst, size_t uCount) {
        std::vector<float> vScratch;
        const float* pPoints = rows.read(uFirst, uCount, vScratch);
        std::vector<raytracer::Closest> vClosest(uCount, NONE);
        if (!pMeshes->isEmpty()) static_cast<void>(pMeshes->scene.findClosest(pPoints, uCount, vClosest.data()));
        uint32_t uGeometry = 0;
        for (size_t u = 0; u < uCount; ++u) {
            const raytracer::Closest& closest = vClosest[u];
            std::copy_n(closest.point, 3, pFound + 3 * (uFirst + u));
            hits.put(uFirst + u, *pMeshes, closest.uTriangle, closest.fU, closest.fV, uGeometry);
        }
    });
    py::dict result = hits.named();
    result["points"] = found;
    return result;
}

py::array computeDistance(RaycastingScene& scene, py::handle points, int iThreads) {
    return distances(scene, "compute_distance", points, iThreads, {});
}

py::array computeSignedDistance(RaycastingScene& scene, py::handle points, int iThreads, int iSamples) {
    return distances(scene, "compute_signed_distance", points, iThreads, directionsOf(iSamples));
}

py::array computeOccupancy(RaycastingScene& scene, py::handle points, int iThreads, int iSamples) {
    const Rows rows(points, "query_points", 3);
    const unsigned uThreads = threadsOf(iThreads);
    const std::vector<raytracer::Ray> vDirections = directionsOf(iSamples);
    const auto pMeshes = watertightOf(scene, "compute_occupancy");
    py::array_t<float> result(rows.shape());
    float* pResult = result.mutable_data();
    runBlocks(rows.count(), blockOf(vDirections), uThreads, [&](size_t uFirst, size_t uCount) {
        std::vector<raytracer::Ray> vRays = vDirections;
        std::vector<uint32_t> vCounts;
        std::vector<float> vScratch;
        const float* pPoints = rows.read(uFirst, uCount, vScratch);
        for (size_t u = 0; u < uCount; ++u) {
            const bool bInside = !pMeshes->isEmpty() && isInside(pMeshes->scene, pPoints + 3 * u, vRays, vCounts);
            pResult[uFirst + u] = bInside ? 1.0f : 0.0f;
        }
    });
    return std::move(result);
}

}  // namespace python
