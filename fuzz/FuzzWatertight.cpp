// Fuzz target for the watertight queries: every kernel, builders with one thread and two, against all faces.

#include "FuzzSupport.h"
#include "support/Answers.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    Source source(pBytes, uBytes);
    const Triangles mesh = makeTriangles(source);
    std::vector<WatertightRay> vRays;
    for (uint32_t u = 0; u < MAX_RAYS && !source.isEmpty(); ++u) vRays.push_back(makeRay(source, mesh));
    WatertightQueries queries;
    for (const unsigned uThreads : {1u, 2u}) {
        require(!queries.build(mesh.vPositions.data(), mesh.vertices(), mesh.vIndices.data(), mesh.faces(), uThreads),
                "a hierarchy to ask");
        const std::string sWrong = firstWrongAnswer(queries, mesh, vRays);
        require(sWrong.empty(), sWrong.c_str());
    }
    for (const WatertightRay& ray : vRays) queries.closestPoint(ray.fOrigin);
    return 0;
}
