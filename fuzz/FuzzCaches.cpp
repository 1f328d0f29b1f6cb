// Fuzz targets for the two cache files: what is accepted is asked rays. RT_GRID builds the one for uss.tmp.

#include <algorithm>
#include <string>

#include "FuzzSupport.h"
#include "accel/CacheFile.h"
#include "accel/reference/UniformSpaceSubdivision.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

// What the caches are of: a ball of 32 faces.
struct Ball {
    Scene scene;
    RayStream stream;

    Ball() {
        Mesh mesh;
        mesh.addSphere({1, 2, 3}, 4.0f, 1);
        loadMesh(scene, mesh);
        uint8_t bytes[2048];
        for (size_t u = 0; u < sizeof(bytes); ++u) bytes[u] = static_cast<uint8_t>(u * u * 37 + u);
        Source source(bytes, sizeof(bytes));
        addRays(stream, source, scene.boxScene, 100);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    static Ball ball;
    const std::string sText =
        cacheHeadline(ball.scene.szSceneFile) + std::string(reinterpret_cast<const char*>(pBytes), uBytes);
#ifdef RT_GRID
    writeFile("uss.tmp", sText);
    UniformSpaceSubdivision grid;
    require(!grid.createSubdivision(&ball.scene, false), "a grid, read or built");
    for (uint32_t u = 0; u < ball.stream.uCount; ++u) {
        RayTestOutput hit{};
        grid.findNearestFace(ball.stream.origin(u), ball.stream.dir(u), ball.stream.fMaxDist[u], &hit);
        grid.findObstacle(ball.stream.origin(u), ball.stream.dir(u), ball.stream.fMaxDist[u]);
    }
#else
    writeFile("kdtree.tmp", sText);
    RayQueries queries;
    require(!queries.build(ball.scene, false, 0.0f), "a tree, read or built");
    requireSameAnswers(queries, ball.stream);
#endif
    return 0;
}
