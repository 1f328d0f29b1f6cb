// Fuzz targets for the two cache files: what is accepted is asked rays. RT_GRID builds the one for uss.tmp.

#include <algorithm>
#include <string>

#include "FuzzSupport.h"
#include "accel/CacheFile.h"
#include "accel/grid/UniformSpaceSubdivision.h"
#include "scene/Scene.h"

namespace {

// A height field of 8 x 8 squares.
std::string meshText() {
    constexpr unsigned EDGE = 9, SQUARES = EDGE - 1;
    std::string sText = "vertices " + std::to_string(EDGE * EDGE) + "\n";
    for (unsigned u = 0; u < EDGE * EDGE; ++u) {
        const unsigned x = u % EDGE, y = u / EDGE;
        sText += std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(x * x * y % 5) + "\n";
    }
    sText += "\ntriangles " + std::to_string(2 * SQUARES * SQUARES) + "\n";
    for (unsigned u = 0; u < SQUARES * SQUARES; ++u) {
        const unsigned a = u / SQUARES * EDGE + u % SQUARES;
        for (const unsigned b : {a + 1, a + EDGE}) {
            sText += std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(a + EDGE + 1) + "\n";
        }
    }
    sText += "\n";
    for (unsigned u = 0; u < 2 * SQUARES * SQUARES; ++u) sText += u % 10 == 9 ? "0\n" : "0 ";
    return sText;
}

// The mesh that the caches are of.
struct Mesh {
    Scene scene;
    RayStream stream;

    Mesh() {
        const std::string sText = meshText();
        writeFile("mesh.brs", sText.data(), sText.size());
        require(!scene.loadScene("mesh.brs"), "a mesh");
        scene.preprocessScene();
        uint8_t bytes[2048];
        for (size_t u = 0; u < sizeof(bytes); ++u) bytes[u] = static_cast<uint8_t>(u * u * 37 + u);
        Source source(bytes, sizeof(bytes));
        addRays(stream, source, scene.boxScene, 100);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    static Mesh mesh;
    const std::string sText = cacheHeadline(mesh.scene) + std::string(reinterpret_cast<const char*>(pBytes), uBytes);
#ifdef RT_GRID
    writeFile("uss.tmp", sText.data(), sText.size());
    UniformSpaceSubdivision grid;
    require(!grid.createSubdivision(&mesh.scene, false), "a grid, read or built");
    for (uint32_t u = 0; u < mesh.stream.uCount; ++u) {
        RayTestOutput hit{};
        grid.findNearestFace(mesh.stream.origin(u), mesh.stream.dir(u), mesh.stream.fMaxDist[u], &hit);
        grid.findObstacle(mesh.stream.origin(u), mesh.stream.dir(u), mesh.stream.fMaxDist[u]);
    }
#else
    writeFile("kdtree.tmp", sText.data(), sText.size());
    RayQueries queries;
    require(!queries.build(mesh.scene, false, 0.0f), "a tree, read or built");
    requireSameAnswers(queries, mesh.stream);
#endif
    return 0;
}
