// Fuzz target for everything between a mesh and its answers: the builder against the plain one, all kernels against
// single rays, and the grid's walk.

#include <string>

#include "FuzzSupport.h"
#include "accel/PlainKDTreeBuilder.h"
#include "accel/grid/UniformSpaceSubdivision.h"
#include "scene/Scene.h"

namespace {

constexpr uint32_t MAX_VERTICES = 40, MAX_FACES = 60;

void writeMesh(Source& source) {
    const uint32_t uVertices = 1 + source.below(MAX_VERTICES), uFaces = source.below(MAX_FACES + 1);
    std::string sText = "vertices " + std::to_string(uVertices) + "\n";
    char szLine[128];
    for (uint32_t u = 0; u < uVertices; ++u) {
        const Velk::NMVector3f v3 = source.vector();
        snprintf(szLine, sizeof(szLine), "%.9g %.9g %.9g\n", v3.x, v3.y, v3.z);
        sText += szLine;
    }
    sText += "\ntriangles " + std::to_string(uFaces) + "\n";
    for (uint32_t u = 0; u < uFaces; ++u) {
        const uint32_t a = source.below(uVertices), b = source.below(uVertices), c = source.below(uVertices);
        snprintf(szLine, sizeof(szLine), "%u %u %u\n", a, b, c);
        sText += szLine;
    }
    sText += "\n";
    for (uint32_t u = 0; u < uFaces; ++u) sText += u % 10 == 9 ? "0\n" : "0 ";
    writeFile("mesh.brs", sText.data(), sText.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    Source source(pBytes, uBytes);
    writeMesh(source);
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
