// Queries about rays, block by block.
#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "binding/Arrays.h"
#include "binding/Blocks.h"
#include "binding/HitArrays.h"
#include "binding/Queries.h"

namespace python {

namespace {

constexpr size_t BLOCK = 2048;
constexpr size_t BLOCK_OF_ALL = 64;  // for all hits, which may be many
constexpr float TREE_END = 1e30f;    // the tree's rays end somewhere

using RayList = std::vector<raytracer::Ray>;

float endOf(const RaycastingScene& scene, float fFar) {
    return scene.eRays == raytracer::Rays::TREE ? std::min(fFar, TREE_END) : fFar;
}

// Rays of the library from rows of six numbers.
void readRays(const float* pRows, size_t uRays, float fNear, float fFar, RayList& vRays) {
    vRays.resize(uRays);
    for (raytracer::Ray& ray : vRays) {
        ray = {{pRows[0], pRows[1], pRows[2]}, {pRows[3], pRows[4], pRows[5]}, fFar, fNear};
        pRows += 6;
    }
}

// What one block found, until all are known.
struct Found {
    std::vector<raytracer::Hit> vHits;
    std::vector<size_t> vFirst;
};

}  // namespace

py::dict castRays(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Floats rows = floatsOf(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = preparedOf(scene);
    py::array_t<float> depths(shapeOf(rows));
    HitArrays hits(shapeOf(rows));
    const float* pRows = rows.data();
    float* pDepths = depths.mutable_data();
    const float fFar = endOf(scene, std::numeric_limits<float>::infinity());
    runBlocks(rowsOf(rows), BLOCK, uThreads, [&](size_t uFirst, size_t uCount) {
        RayList vRays;
        std::vector<raytracer::Hit> vHits(uCount);
        readRays(pRows + 6 * uFirst, uCount, 0.0f, fFar, vRays);
        pMeshes->scene.findNearest(vRays.data(), uCount, vHits.data());
        uint32_t uGeometry = 0;
        for (size_t u = 0; u < uCount; ++u) {
            const raytracer::Hit& hit = vHits[u];
            pDepths[uFirst + u] = hit.fT;
            hits.put(uFirst + u, *pMeshes, hit.uTriangle, hit.fU, hit.fV, uGeometry);
        }
    });
    py::dict result = hits.named();
    result["t_hit"] = depths;
    return result;
}

py::array testOcclusions(RaycastingScene& scene, py::handle rays, float fNear, float fFar, int iThreads) {
    const Floats rows = floatsOf(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    if (!(fNear >= 0.0f)) throw py::value_error("tnear: 0 or more wanted, got " + std::to_string(fNear));
    const auto pMeshes = preparedOf(scene);
    py::array_t<bool> blocked(shapeOf(rows));
    const float* pRows = rows.data();
    bool* pBlocked = blocked.mutable_data();
    const float fEnd = endOf(scene, fFar);
    runBlocks(rowsOf(rows), BLOCK, uThreads, [&](size_t uFirst, size_t uCount) {
        RayList vRays;
        readRays(pRows + 6 * uFirst, uCount, fNear, fEnd, vRays);
        pMeshes->scene.findBlocked(vRays.data(), uCount, pBlocked + uFirst);
    });
    return std::move(blocked);
}

py::array countIntersections(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Floats rows = floatsOf(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, "count_intersections");
    py::array_t<int32_t> counts(shapeOf(rows));
    const float* pRows = rows.data();
    int32_t* pCounts = counts.mutable_data();
    runBlocks(rowsOf(rows), BLOCK_OF_ALL, uThreads, [&](size_t uFirst, size_t uCount) {
        RayList vRays;
        std::vector<uint32_t> vCounts(uCount);
        readRays(pRows + 6 * uFirst, uCount, 0.0f, std::numeric_limits<float>::infinity(), vRays);
        if (!pMeshes->isEmpty()) static_cast<void>(pMeshes->scene.countHits(vRays.data(), uCount, vCounts.data()));
        std::copy(vCounts.begin(), vCounts.end(), pCounts + uFirst);
    });
    return std::move(counts);
}

py::dict listIntersections(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Floats rows = floatsOf(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, "list_intersections");
    const float* pRows = rows.data();
    const size_t uRays = rowsOf(rows), uBlock = BLOCK_OF_ALL;
    std::vector<Found> vFound(uRays / uBlock + 1);
    runBlocks(uRays, uBlock, uThreads, [&](size_t uFirst, size_t uCount) {
        Found& found = vFound[uFirst / uBlock];
        RayList vRays;
        found.vFirst.resize(uCount + 1);
        readRays(pRows + 6 * uFirst, uCount, 0.0f, std::numeric_limits<float>::infinity(), vRays);
        if (pMeshes->isEmpty()) return;
        static_cast<void>(pMeshes->scene.findAll(vRays.data(), uCount, found.vHits, found.vFirst.data()));
    });
    size_t uHits = 0;
    for (const Found& found : vFound) uHits += found.vHits.size();
    const auto iHits = static_cast<py::ssize_t>(uHits);
    py::array_t<int64_t> splits(static_cast<py::ssize_t>(uRays + 1));
    py::array_t<uint32_t> rayIds(iHits);
    py::array_t<float> depths(iHits);
    HitArrays hits({iHits});
    int64_t* pSplits = splits.mutable_data();
    *pSplits++ = 0;
    size_t uTo = 0;
    uint32_t uGeometry = 0, uRay = 0;
    for (const Found& found : vFound) {
        for (size_t u = 0; u + 1 < found.vFirst.size(); ++u, ++uRay) {
            for (size_t uHit = found.vFirst[u]; uHit < found.vFirst[u + 1]; ++uHit, ++uTo) {
                const raytracer::Hit& hit = found.vHits[uHit];
                rayIds.mutable_data()[uTo] = uRay;
                depths.mutable_data()[uTo] = hit.fT;
                hits.put(uTo, *pMeshes, hit.uTriangle, hit.fU, hit.fV, uGeometry);
            }
            *pSplits++ = static_cast<int64_t>(uTo);
        }
    }
    py::dict result = hits.named(false);
    result["ray_splits"] = splits;
    result["ray_ids"] = rayIds;
    result["t_hit"] = depths;
    return result;
}

}  // namespace python
