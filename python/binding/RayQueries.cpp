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

// Rays of the library from rows of six numbers, uRays of them from uFirst on.
RayList raysFrom(const Rows& rows, size_t uFirst, size_t uRays, float fNear, float fFar) {
    std::vector<float> vScratch;
    const float* pRows = rows.read(uFirst, uRays, vScratch);
    RayList vRays(uRays);
    for (raytracer::Ray& ray : vRays) {
        ray = {{pRows[0], pRows[1], pRows[2]}, {pRows[3], pRows[4], pRows[5]}, fFar, fNear};
        pRows += 6;
    }
    return vRays;
}

// What one block found, until all are known.
struct Found {
    std::vector<raytracer::Hit> vHits;
    std::vector<size_t> vFirst;
};

}  // namespace

py::dict castRays(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Rows rows(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = preparedOf(scene);
    py::array_t<float> depths(rows.shape());
    HitArrays hits(rows.shape());
    float* pDepths = depths.mutable_data();
    const float fFar = endOf(scene, std::numeric_limits<float>::infinity());
    runBlocks(rows.count(), BLOCK, uThreads, [&](size_t uFirst, size_t uCount) {
        std::vector<raytracer::Hit> vHits(uCount);
        const RayList vRays = raysFrom(rows, uFirst, uCount, 0.0f, fFar);
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
    const Rows rows(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    if (!(fNear >= 0.0f)) throw py::value_error("tnear: 0 or more wanted, got " + std::to_string(fNear));
    const auto pMeshes = preparedOf(scene);
    py::array_t<bool> blocked(rows.shape());
    bool* pBlocked = blocked.mutable_data();
    const float fEnd = endOf(scene, fFar);
    runBlocks(rows.count(), BLOCK, uThreads, [&](size_t uFirst, size_t uCount) {
        const RayList vRays = raysFrom(rows, uFirst, uCount, fNear, fEnd);
        pMeshes->scene.findBlocked(vRays.data(), uCount, pBlocked + uFirst);
    });
    return std::move(blocked);
}

py::array countIntersections(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Rows rows(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, "count_intersections");
    py::array_t<int32_t> counts(rows.shape());
    int32_t* pCounts = counts.mutable_data();
    runBlocks(rows.count(), BLOCK_OF_ALL, uThreads, [&](size_t uFirst, size_t uCount) {
        std::vector<uint32_t> vCounts(uCount);
        const RayList vRays = raysFrom(rows, uFirst, uCount, 0.0f, std::numeric_limits<float>::infinity());
        if (!pMeshes->isEmpty()) static_cast<void>(pMeshes->scene.countHits(vRays.data(), uCount, vCounts.data()));
        std::copy(vCounts.begin(), vCounts.end(), pCounts + uFirst);
    });
    return std::move(counts);
}

py::dict listIntersections(RaycastingScene& scene, py::handle rays, int iThreads) {
    const Rows rows(rays, "rays", 6);
    const unsigned uThreads = threadsOf(iThreads);
    const auto pMeshes = watertightOf(scene, "list_intersections");
    const size_t uRays = rows.count(), uBlock = BLOCK_OF_ALL;
    std::vector<Found> vFound(uRays / uBlock + 1);
    runBlocks(uRays, uBlock, uThreads, [&](size_t uFirst, size_t uCount) {
        Found& found = vFound[uFirst / uBlock];
        found.vFirst.resize(uCount + 1);
        const RayList vRays = raysFrom(rows, uFirst, uCount, 0.0f, std::numeric_limits<float>::infinity());
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
