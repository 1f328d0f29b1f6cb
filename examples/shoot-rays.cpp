// Looks at a mesh along the z axis, from its middle, with 72 x 24 rays: shoot-rays Scenes/glass/glass.brs
#include <cstdio>
#include <memory>

#include "accel/queries/RayQueries.h"
#include "base/InputReport.h"
#include "scene/Scene.h"

int main(int iCount, char** pArguments) {
    if (iCount != 2) {
        fprintf(stderr, "Usage: shoot-rays FILE.brs\nLooks at a mesh along the z axis, from its middle.\n");
        return 2;
    }
    Velk::setInputSink([](bool, const char* szReport) { fprintf(stderr, "%s\n", szReport); });
    Scene scene;
    if (scene.loadScene(pArguments[1])) return 1;
    scene.preprocessScene();  // scales the mesh: its longest side is 10000 now
    RayQueries queries;
    queries.kdTree.sCacheFile.clear();  // keeps no file and prints nothing
    if (queries.build(scene, false)) return 1;

    const Velk::NMVector3f v3Size = scene.boxScene.v3Max - scene.boxScene.v3Min;
    const auto pStream = std::make_unique<RayStream>();
    for (float fRow = 0.5f; fRow < 24.0f; ++fRow) {
        pStream->uCount = 0;
        for (float fColumn = 0.5f; fColumn < 72.0f; ++fColumn) {
            pStream->add({scene.boxScene.v3Min.x + v3Size.x * fColumn / 72.0f,
                          scene.boxScene.v3Max.y - v3Size.y * fRow / 24.0f, scene.v3Center.z},
                         {0.0f, 0.0f, 1.0f}, v3Size.z);
        }
        uint32_t uFaces[72];
        RayTestOutput hits[72];  // of the rays that hit
        queries.findNearestFaces(*pStream, uFaces, hits);
        for (uint32_t u = 0; u < 72; ++u)
            putchar(uFaces[u] == NO_INDEX ? ' ' : "@%#*+=-:."[static_cast<int>(16.0f * hits[u].fT / v3Size.z) % 9]);
        putchar('\n');
    }
    return 0;
}
