#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "RayFrame.h"
#include "accel/queries/RayQueries.h"
#include "scene/Scene.h"

using namespace rt;

/// Traces tiles with the program's own queries. The one place of the benchmark where queries are made: findNearest()
/// and findObstacles() are to call whatever the renderer calls for the rays of a tile.
class TreeTracer {
 public:
    /// The queries must outlive the tracer.
    explicit TreeTracer(RayQueries& tracedQueries, const RayKernel* pItsKernel = &bestKernel());

    /// Rays at most RayStream::CAPACITY.
    void prepareNearest(const std::vector<Ray>& vRays) { prepare(vRays); }
    void prepareObstacles(const std::vector<Ray>& vRays) { prepare(vRays); }

    /// Traces a whole tile of primary rays.
    void findNearest();

    /// Traces a whole tile of shadow rays to one light.
    void findObstacles();

    float distance(size_t i) const { return face(i) ? vHits[i].fT : FrameAnswers::MISS; }
    bool isBlocked(size_t i) const { return pBlocked[i]; }
    const FaceData* face(size_t i) const {
        return vFaces[i] == NO_INDEX ? nullptr : &queries.kdTree.pScene->vFaces[vFaces[i]];
    }
    const RayTestOutput& hit(size_t i) const { return vHits[i]; }

    /// Share of all rays so far that the kernel left to the tree.
    double openShare() const { return uRays ? static_cast<double>(uOpen) / static_cast<double>(uRays) : 0.0; }

 private:
    void prepare(const std::vector<Ray>& vRays);

    RayQueries& queries;
    const RayKernel* pKernel;  // null: one ray after the other
    uint64_t uRays = 0, uOpen = 0;
    std::unique_ptr<RayStream> pRays = std::make_unique<RayStream>();
    std::vector<uint32_t> vFaces;
    std::vector<RayTestOutput> vHits;
    std::unique_ptr<bool[]> pBlocked;
};
