// Fuzz targets for the two cache files: what is accepted is asked rays. RT_GRID builds the one for uss.tmp.

#include <algorithm>
#include <string>

#include "FuzzSupport.h"
#include "accel/CacheFile.h"
#include "accel/reference/UniformSpaceSubdivision.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

// A height field of 8 x 8 squares.
Mesh makeHills() {
    constexpr unsigned EDGE = 9;
    Mesh mesh;
    for (unsigned u = 0; u < EDGE * EDGE; ++u) {
        const unsigned x = u % EDGE, y = u / EDGE;
        mesh.vVertices.push_back({static_cast<float>(x), static_cast<float>(y), static_cast<float>(x * x * y % 5)});
        if (x == EDGE - 1 || y == EDGE - 1) continue;
        for (const unsigned b : {u + 1, u + EDGE}) mesh.vTriangles.push_back({u, b, u + EDGE + 1, 0});
    }
    return mesh;
}

// The mesh that the caches are of.
struct Hills {
    Scene scene;
    RayStream stream;

    Hills() {
        loadMesh(scene, makeHills());
        uint8_t bytes[2048];
        for (size_t u = 0; u < sizeof(bytes); ++u) bytes[u] = static_cast<uint8_t>(u * u * 37 + u);
        Source source(bytes, sizeof(bytes));
        addRays(stream, source, scene.boxScene, 100);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    static Hills hills;
    const std::string sText =
        cacheHeadline(hills.scene.szSceneFile) + std::string(reinterpret_cast<const char*>(pBytes), uBytes);
#ifdef RT_GRID
    writeFile("uss.tmp", sText);
    UniformSpaceSubdivision grid;
    require(!grid.createSubdivision(&hills.scene, false), "a grid, read or built");
    for (uint32_t u = 0; u < hills.stream.uCount; ++u) {
        RayTestOutput hit{};
        grid.findNearestFace(hills.stream.origin(u), hills.stream.dir(u), hills.stream.fMaxDist[u], &hit);
        grid.findObstacle(hills.stream.origin(u), hills.stream.dir(u), hills.stream.fMaxDist[u]);
    }
#else
    writeFile("kdtree.tmp", sText);
    RayQueries queries;
    require(!queries.build(hills.scene, false, 0.0f), "a tree, read or built");
    requireSameAnswers(queries, hills.stream);
#endif
    return 0;
}
