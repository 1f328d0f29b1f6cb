// Fuzz target for everything between a mesh and its answers: the builder against the plain one, all kernels against
// single rays, and the grid's walk.

#include "FuzzSupport.h"
#include "accel/PlainKDTreeBuilder.h"
#include "accel/reference/UniformSpaceSubdivision.h"

using namespace rt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    Source source(pBytes, uBytes);
    writeFile("mesh.brs", makeMesh(source).text());
    Scene scene;
    if (scene.loadScene("mesh.brs")) return 0;
    scene.preprocessScene();
    require(buildsPlainTree(scene), "the tree of the plain builder");
    static RayStream stream;
    stream.uCount = 0;
    addRays(stream, source, scene.boxScene, 100);
    RayQueries queries;
    require(!queries.build(scene, true, source.take<uint8_t>() & 1 ? source.number() : 0.0f), "a tree to ask");
    requireSameAnswers(queries, stream);
    UniformSpaceSubdivision grid;
    require(!grid.createSubdivision(&scene, true), "a grid");
    for (uint32_t u = 0; u < stream.uCount; ++u) {
        RayTestOutput hit{};
        grid.findNearestFace(stream.origin(u), stream.dir(u), stream.fMaxDist[u], &hit);
    }
    return 0;
}
