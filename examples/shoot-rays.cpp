// Shoots 72 x 24 rays at a ring, and prints how far each one came: the nearer, the darker.
#include <raytracer/Scene.h>

#include <cmath>
#include <cstdio>

#include "Torus.h"

int main() {
    const Torus torus;
    raytracer::Scene scene;
    if (scene.setMesh({torus.vPositions.data(), torus.vertices(), torus.vTriangles.data(), torus.triangles()}) ||
        scene.prepare(raytracer::Use::RAYS)) {
        return 1;
    }
    std::vector<raytracer::Ray> vRays;
    for (int iRow = 0; iRow < 24; ++iRow) {
        for (int iColumn = 0; iColumn < 72; ++iColumn) {
            vRays.push_back(
                {{static_cast<float>(iColumn) / 11.0f - 3.2f, 3.2f - static_cast<float>(iRow) / 3.7f, -5.0f},
                 {0.0f, 0.0f, 1.0f}});
        }
    }
    std::vector<raytracer::Hit> vHits(vRays.size());
    scene.findNearest(vRays.data(), vRays.size(), vHits.data());
    for (size_t u = 0; u < vHits.size(); ++u) {
        const raytracer::Hit& hit = vHits[u];
        putchar(hit.uTriangle == raytracer::NO_TRIANGLE ? ' '
                                                        : "@%#*+=-:."[static_cast<int>((hit.fT - 4.0f) * 8.0f) % 9]);
        if (u % 72 == 71) putchar('\n');
    }
    return 0;
}
