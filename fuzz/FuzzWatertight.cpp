// Fuzz target for the watertight queries: every kernel, builders with one thread and two, against all faces.

#include <cstring>
#include <memory>

#include "FuzzSupport.h"
#include "accel/watertight/WatertightQueries.h"
#include "support/Watertight.h"

using namespace rt;

namespace {

constexpr uint32_t MAX_VERTICES = 40, MAX_FACES = 60, MAX_RAYS = 100;

Triangles makeTriangles(Source& source) {
    Triangles mesh;
    const uint32_t uVertices = 1 + source.below(MAX_VERTICES), uFaces = source.below(MAX_FACES + 1);
    for (uint32_t u = 0; u < uVertices; ++u) {
        const float x = source.number(), y = source.number();
        mesh.addVertex(x, y, source.number());
    }
    for (uint32_t u = 0; u < uFaces; ++u) {
        const uint32_t a = source.below(uVertices), b = source.below(uVertices);
        mesh.addFace(a, b, source.below(uVertices));
    }
    return mesh;
}

// From anywhere, or to a point of the mesh.
WatertightRay makeRay(Source& source, const Triangles& mesh) {
    WatertightRay ray{};
    const float* pTarget = mesh.vertex(source.below(mesh.vertices()));
    const bool bAimed = source.take<uint8_t>() & 1;
    for (unsigned a = 0; a < 3; ++a) {
        ray.fOrigin[a] = source.number();
        ray.fDir[a] = bAimed ? pTarget[a] - ray.fOrigin[a] : source.number();
    }
    ray.fFar = source.take<uint8_t>() & 3 ? HUGE_VALF : source.number();
    return ray;
}

bool same(const WatertightHit& a, const WatertightHit& b) {
    return !memcmp(&a, &b, sizeof(a));
}

void requireAnswers(const WatertightQueries& queries, const std::vector<WatertightRay>& vRays,
                    const std::vector<std::vector<WatertightHit>>& vExpected) {
    static const auto pStream = std::make_unique<RayStream>();
    std::vector<WatertightHit> vNearest(vRays.size()), vStream(vRays.size()), vAll;
    bool bAny[MAX_RAYS], bStreamAny[MAX_RAYS];
    pStream->uCount = 0;
    for (const WatertightRay& r : vRays) {
        pStream->add({r.fOrigin[0], r.fOrigin[1], r.fOrigin[2]}, {r.fDir[0], r.fDir[1], r.fDir[2]}, r.fFar);
    }
    queries.nearest(vRays.data(), vRays.size(), vNearest.data());
    queries.any(vRays.data(), vRays.size(), bAny);
    queries.nearestOf(*pStream, vStream.data());
    queries.anyOf(*pStream, bStreamAny);
    for (size_t u = 0; u < vRays.size(); ++u) {
        const bool bMeets = !vExpected[u].empty();
        const WatertightHit hit = bMeets ? vExpected[u][0] : WatertightHit{0, 0, 0, WatertightHit::NO_FACE, 0};
        require(same(vNearest[u], hit) && same(vStream[u], hit), "the nearest hit of all faces");
        require(bAny[u] == bMeets && bStreamAny[u] == bMeets, "whether any face is met");
        queries.all(vRays[u], vAll);
        require(vAll.size() == vExpected[u].size(), "the number of hits");
        for (size_t i = 0; i < vAll.size(); ++i) require(same(vAll[i], vExpected[u][i]), "all hits in order");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    Source source(pBytes, uBytes);
    const Triangles mesh = makeTriangles(source);
    std::vector<WatertightRay> vRays;
    std::vector<std::vector<WatertightHit>> vExpected;
    for (uint32_t u = 0; u < MAX_RAYS && !source.isEmpty(); ++u) {
        vRays.push_back(makeRay(source, mesh));
        vExpected.push_back(meetAll(mesh, vRays.back()));
    }
    WatertightQueries queries;
    for (const unsigned uThreads : {1u, 2u}) {
        require(!queries.build(mesh.vPositions.data(), mesh.vertices(), mesh.vIndices.data(), mesh.faces(), uThreads),
                "a hierarchy to ask");
        for (const char* szKernel : {"generic", "sse2", "avx2", "avx512"}) {
            queries.pKernel = findWatertightKernel(szKernel);
            if (queries.pKernel) requireAnswers(queries, vRays, vExpected);
        }
    }
    for (const WatertightRay& ray : vRays) queries.closestPoint(ray.fOrigin);
    return 0;
}
