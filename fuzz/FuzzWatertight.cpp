// Fuzz target for the watertight queries: every kernel, builders with one thread and two, against all faces.

#include "FuzzSupport.h"
#include "support/Answers.h"

using namespace rt;

namespace {

constexpr uint32_t MAX_RAYS = 100;

// From anywhere, or to a point of the mesh.
WatertightRay makeRay(Source& source, const Mesh& mesh) {
    WatertightRay ray{};
    const Velk::NMVector3f v3Target = mesh.vVertices[source.below(static_cast<uint32_t>(mesh.vVertices.size()))];
    const bool bAimed = source.take<uint8_t>() & 1;
    for (unsigned a = 0; a < 3; ++a) {
        ray.fOrigin[a] = source.number();
        ray.fDir[a] = bAimed ? v3Target[a] - ray.fOrigin[a] : source.number();
    }
    ray.fFar = source.take<uint8_t>() & 3 ? HUGE_VALF : source.number();
    return ray;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    Source source(pBytes, uBytes);
    const Mesh mesh = makeMesh(source);
    std::vector<WatertightRay> vRays;
    for (uint32_t u = 0; u < MAX_RAYS && !source.isEmpty(); ++u) vRays.push_back(makeRay(source, mesh));
    WatertightQueries queries;
    for (const unsigned uThreads : {1u, 2u}) {
        require(!buildBoxes(queries, mesh, uThreads), "a hierarchy to ask");
        const std::string sWrong = firstWrongAnswer(queries, mesh, vRays);
        require(sWrong.empty(), sWrong.c_str());
    }
    for (const WatertightRay& ray : vRays) queries.closestPoint(ray.fOrigin);
    return 0;
}
