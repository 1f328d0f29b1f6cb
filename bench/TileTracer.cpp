// Traces the tiles of a frame with a tracer and keeps the best time of each.
#include "TileTracer.h"

using namespace rt;

TreeTracer::TreeTracer(RayQueries& tracedQueries, const RayKernel* pItsKernel)
    : queries(tracedQueries),
      pKernel(pItsKernel),
      vFaces(RayStream::CAPACITY),
      vHits(RayStream::CAPACITY),
      pBlocked(std::make_unique<bool[]>(RayStream::CAPACITY)) {}

void TreeTracer::prepare(const std::vector<Ray>& vRays) {
    pRays->uCount = 0;
    for (const Ray& ray : vRays) pRays->add(ray.v3Origin, ray.v3Dir, ray.fMaxDist);
    uRays += pRays->uCount;
}

void TreeTracer::findNearest() {
    if (pKernel) {
        queries.pKernel = pKernel;
        uOpen += queries.findNearestFaces(*pRays, vFaces.data(), vHits.data());
        return;
    }
    for (uint32_t u = 0; u < pRays->uCount; ++u) {
        const FaceData* pFace =
            queries.kdTree.findNearestFace(pRays->origin(u), pRays->dir(u), pRays->fMaxDist[u], &vHits[u]);
        vFaces[u] = pFace ? static_cast<uint32_t>(pFace - queries.kdTree.pScene->vFaces.pData) : NO_INDEX;
    }
}

void TreeTracer::findObstacles() {
    if (pKernel) {
        queries.pKernel = pKernel;
        uOpen += queries.findObstacles(*pRays, pBlocked.get());
        return;
    }
    for (uint32_t u = 0; u < pRays->uCount; ++u) {
        pBlocked[u] = queries.kdTree.findObstacle(pRays->origin(u), pRays->dir(u), pRays->fMaxDist[u]);
    }
}
